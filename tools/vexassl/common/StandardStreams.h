// Standard input and output of the tool as byte streams.
#pragma once

#include <cstddef>
#include <memory>

namespace VexaSsl::tool {

// Reads standard input; another thread can end a read that waits. Threads: one reader; cancel from
// any thread.
class StandardInput {
public:
    // Throws Failure (Usage) when the system has no descriptor left.
    StandardInput();
    ~StandardInput();
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

    // Returns the bytes read, as soon as there are any; 0 at the end of the input, on an error, and
    // after cancel.
    std::size_t read(char* buffer, std::size_t size);

    // Whether an error ended the input. Called by the reader.
    bool failed() const;

    void cancel();
    bool cancelled() const;

    // Whether input is ready that wasn't read; the end of the input doesn't count. Called after
    // cancel.
    bool hasMore();

private:
    struct Source; // of each system
    std::unique_ptr<Source> source;
};

// Writes everything; returns false when standard output fails.
bool writeStandardOutput(const char* data, std::size_t size);

} // namespace VexaSsl::tool
