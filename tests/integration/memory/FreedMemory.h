// Searches memory that C++ code frees, in the library and the binding, too, for bytes that must not
// be there. Replaces operator new and delete of the program; new memory is zeroed, so bytes found
// in it were written by its last user. Memory that OpenSSL allocates is not searched.
//
// Threads: any may call the operators. One Watch exists at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace VexaSsl::test {

// Searches every block that is freed during its lifetime. The bytes must be in memory that isn't
// freed meanwhile.
class FreedMemoryWatch {
public:
    explicit FreedMemoryWatch(std::string_view bytes);
    ~FreedMemoryWatch();
    FreedMemoryWatch(const FreedMemoryWatch&) = delete;
    FreedMemoryWatch& operator=(const FreedMemoryWatch&) = delete;

    // Return the number of freed blocks that contained the bytes, and of all freed blocks.
    std::size_t traces() const;
    std::size_t blocks() const;
};

} // namespace VexaSsl::test
