// The talk on an established connection: one thread sends what the input brings, the calling thread
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

// What becomes of the sending side. A peer sees the end of the input only when it is shut; since no
// TLS closure is sent, some take that for a broken connection and answer no more.
enum class AtInputEnd { ShutDown, KeepOpen };

class Conversation {
public:
    Conversation(ISocketStrategy& borrowedStrategy, SOCKET s, const ToolLog& connectionLog,
                 Watchdog::Guard& connectionGuard, ConversationInput& whatToSend,
                 AtInputEnd whatThen, Receiver& whatComes);

    // Returns when the peer has closed and everything has been sent and printed.
    // Throws Failure: TimedOut, Handshake (a broken record), CutShort, Usage (standard output,
    // or input that breaks off). Passes on what else either side throws, a want of memory, when
    // both have ended.
    void run();

private:
    std::exception_ptr endedBy(void (Conversation::*side)()) noexcept;
    void sendInput();
    void receiveAll();
    void judge() const;

    ISocketStrategy& strategy;
    SOCKET socket;
    const ToolLog& log;
    Watchdog::Guard& guard;
    ConversationInput& input;
    const AtInputEnd atInputEnd;
    Receiver& receiver;

    // Written by the sender, read behind the join, or atomic where the receiver looks earlier.
    std::atomic<bool> inputEnded = false;
    bool sendFailed = false;
    int sendError = 0;

    bool somethingCame = false;
    bool outputFailed = false;
    bool inputLeft = false;
    int receiveError = 0;
};

} // namespace VexaSsl::tool
