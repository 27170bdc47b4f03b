// The conversation on an established connection: one thread sends the input, the calling thread
// prints what the peer sends.
//
// Ownership: everything is borrowed and outlives it.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/Receiver.h"
#include "common/ToolLog.h"
#include "common/Watchdog.h"
#include "connect/ConversationInput.h"

#include <atomic>
#include <exception>

namespace VexaSsl::tool {

// What happens to the sending side at the end of the input. A peer sees the end only when it is
// shut down; since no TLS closure is sent, some peers take that for a broken connection and stop
// answering.
enum class AtInputEnd { ShutDown, KeepOpen };

class Conversation {
public:
    Conversation(ISocketStrategy& strategy, SOCKET socket, const ToolLog& log,
                 Watchdog::Guard& guard, ConversationInput& input, AtInputEnd atInputEnd,
                 Receiver& receiver);

    // Returns when the peer has closed and everything has been sent and printed. Throws Failure:
    // TimedOut, Handshake (a broken record), CutShort, Usage (standard output, or an input that
    // can't be read to its end); and what either side throws when memory runs out, once both have
    // ended.
    void run();

private:
    std::exception_ptr endedBy(void (Conversation::*side)()) noexcept;
    void sendInput();
    void receiveAll();
    void throwFailure() const;

    ISocketStrategy& strategy;
    SOCKET socket;
    const ToolLog& log;
    Watchdog::Guard& guard;
    ConversationInput& input;
    const AtInputEnd atInputEnd;
    Receiver& receiver;

    // Written by the sender and read after the join; atomic if the receiver reads it earlier.
    std::atomic<bool> inputEnded = false;
    bool sendFailed = false;
    int sendError = 0;
    int shutdownError = 0;

    bool somethingCame = false;
    bool outputFailed = false;
    bool inputLeft = false;
    int receiveError = 0;
};

} // namespace VexaSsl::tool
