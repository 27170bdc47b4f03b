// Reads lines and counted bytes from a connection, never more than it is allowed to hold, and knows
// what came behind them. That last is what a switch to TLS must ask before it begins: clear text
// behind the agreement may be an attacker's.
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
        Well,
        TooLong, // no line end within the bound; the connection is of no more use to a line reader
        Ended,   // the peer closed, maybe in the middle
        Failed,  // the number of the failure lies in the last-error slot
    };

    explicit BufferedReader(Receiver& borrowedReceiver) : receiver(borrowedReceiver) {}

    // A line of at most longest bytes with its line feed.
    Outcome readLine(std::size_t longest, std::string& line);
    // What comes up to the next line feed, cut behind longest bytes; never empty.
    Outcome readPiece(std::size_t longest, std::string& piece);
    // Exactly count bytes.
    Outcome readBytes(std::size_t count, std::string& bytes);

    // Whether bytes were received that nobody has asked for.
    bool holdsSurplus() const { return !held.empty(); }

private:
    Outcome receiveMore();
    std::string take(std::size_t count);

    Receiver& receiver;
    std::string held; // received, not taken
};

} // namespace VexaSsl::tool
