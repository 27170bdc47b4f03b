// Reads lines and counted bytes from a connection, with a limit on what it holds, and knows whether
// more was received. A switch to TLS must check that before it begins: clear text after the
// server's consent may be an attacker's.
//
// Threads: one. Ownership: the receiver is borrowed and outlives the reader.
#pragma once

#include "common/Receiver.h"

#include <cstddef>
#include <string>

namespace VexaSsl::tool {

class BufferedReader {
public:
    enum class Outcome {
        Success,
        TooLong, // no line end within the limit; no line can be read any more
        Ended,   // the peer closed, maybe within a line
        Failed,  // the error number is in the last-error slot
    };

    explicit BufferedReader(Receiver& receiver) : receiver(receiver) {}

    // A line of at most longest bytes, including its line feed.
    Outcome readLine(std::size_t longest, std::string& line);
    // What was received up to the next line feed, at most longest bytes; never empty.
    Outcome readPiece(std::size_t longest, std::string& piece);
    // Exactly count bytes.
    Outcome readBytes(std::size_t count, std::string& bytes);

    // Whether bytes were received that no call has returned.
    bool holdsSurplus() const { return !held.empty(); }

private:
    Outcome receiveMore();
    std::string take(std::size_t count);

    Receiver& receiver;
    std::string held; // received, not returned
};

} // namespace VexaSsl::tool
