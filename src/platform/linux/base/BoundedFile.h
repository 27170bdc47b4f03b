// Reading small files of the system that may be anything: never waits for a pipe, never reads more
// than asked for. Any thread.
#pragma once

#include <cstddef>
#include <string>

namespace VexaSsl::linux {

// Owns a file descriptor; a negative number owns none.
class FileDescriptor {
public:
    explicit FileDescriptor(int opened) noexcept : number(opened) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    const int number;
};

// Result: a descriptor that isn't inherited, or a negative number with the cause in errno.
int openForReading(const char* path) noexcept;

// Reads until size bytes are there or the file ends. Result: false when reading failed; filled
// counts the bytes in either case.
bool readUpTo(int descriptor, void* buffer, std::size_t size, std::size_t& filled) noexcept;

// The first limit bytes of the file; empty when it can't be read.
std::string readText(const char* path, std::size_t limit);

} // namespace VexaSsl::linux
