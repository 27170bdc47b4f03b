// The tool's standard input and output as byte streams.
#pragma once

#include <cstddef>
#include <memory>

namespace VexaSsl::tool {

// Reads standard input; another thread can end a read that waits. Threads: one reader, and cancel
// from any thread.
class StandardInput {
public:
    // Throws Failure (Usage) when the system has no descriptor left.
    StandardInput();
    ~StandardInput();
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

    // Result: the bytes read, as soon as there are any; 0 at the end of the input, on an error, and
    // after cancel.
    std::size_t read(char* buffer, std::size_t size);

    // Whether an error ended the input. For the reader.
    bool failed() const;

    void cancel();
    bool cancelled() const;

    // Whether input lies ready that nobody has read; its end doesn't count. For after a cancel.
    bool hasMore();

private:
    struct Source; // the system's side of it
    std::unique_ptr<Source> source;
};

// Writes everything; false when standard output takes no more.
bool writeStandardOutput(const char* data, std::size_t size);

} // namespace VexaSsl::tool
