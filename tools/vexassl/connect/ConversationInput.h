// What connect sends: standard input, a file, or nothing.
//
// Threads: one reader; cancel from any thread; hasMore when nobody reads any more.
#pragma once

#include "connect/SendProgress.h"

#include <cstddef>
#include <memory>
#include <string>

namespace VexaSsl::tool {

class ConversationInput {
public:
    virtual ~ConversationInput() = default;

    // Result: the bytes read; 0 at the end, after cancel, and when the input can't be read on.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
    virtual void cancel() = 0;
    virtual bool cancelled() const = 0;
    // Why it couldn't be read to its end; else empty. For when nobody reads any more.
    virtual std::string failure() const { return {}; }
    // Whether there is input, ready at once, that nobody has read.
    virtual bool hasMore() = 0;
};

std::unique_ptr<ConversationInput> makeStandardInput();

// Ended from the start.
std::unique_ptr<ConversationInput> makeNoInput();

// Throws Failure (Usage) when the file can't be read. When stderr is a terminal it shows how far
// the sending is, unless somebody is to be told when all of the file has gone.
std::unique_ptr<ConversationInput> makeFileInput(const std::string& path, TellSent tell = {});

} // namespace VexaSsl::tool
