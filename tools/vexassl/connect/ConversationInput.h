// What connect sends: standard input, a file, or nothing.
//
// Threads: one reader; cancel from any thread; hasMore after the last read.
#pragma once

#include "connect/SendProgress.h"

#include <cstddef>
#include <memory>
#include <string>

namespace VexaSsl::tool {

class ConversationInput {
public:
    virtual ~ConversationInput() = default;

    // Returns the bytes read; 0 at the end, after cancel, and after a read error.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
    virtual void cancel() = 0;
    virtual bool cancelled() const = 0;
    // Why it couldn't be read to its end; else empty. Called after the last read.
    virtual std::string failure() const { return {}; }
    // Whether input is ready that wasn't read.
    virtual bool hasMore() = 0;
};

std::unique_ptr<ConversationInput> makeStandardInput();

// An input without bytes.
std::unique_ptr<ConversationInput> makeNoInput();

// Throws Failure (Usage) when the file can't be read. When stderr is a terminal the progress is
// shown, unless report is called at the end instead.
std::unique_ptr<ConversationInput> makeFileInput(const std::string& path, SentReport report = {});

} // namespace VexaSsl::tool
