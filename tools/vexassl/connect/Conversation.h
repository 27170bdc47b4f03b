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
#include <future>

namespace VexaSsl::tool {

// What happens to the sending side at the end of the input. A peer sees the end only when it is
// shut down; since no TLS closure is sent, some peers take that for a broken connection and stop
// answering. A peer that asked for a certificate gets a moment before: one that refuses ours ends
// the connection by itself, one that accepts it waits for us.
enum class AtInputEnd { ShutDown, ShutDownAfterAMoment, KeepOpen };

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

    // Whether the peer ended it first and without sending a byte; called after run.
    bool endedUnheard() const;

private:
    std::exception_ptr endedBy(void (Conversation::*side)()) noexcept;
    void sendInput();
    void sendEnd();
    void receiveAll();
    void receiveEach();
    void noteAnswer();
    void throwFailure() const;
    void requireTaken() const;

    ISocketStrategy& strategy;
    SOCKET socket;
    const ToolLog& log;
    Watchdog::Guard& guard;
    ConversationInput& input;
    const AtInputEnd atInputEnd;
    Receiver& receiver;

    // Written by the sender and read after the join; atomic if the receiver reads it earlier.
    std::atomic<bool> inputEnded = false;
    std::atomic<bool> ourEndSent = false;
    bool sendFailed = false;
    int sendError = 0;
    int shutdownError = 0;

    std::promise<void> answered; // set when something came or the stream ended
    bool isAnswered = false;
    std::atomic<bool> streamEnded = false;
    bool unheardEnd = false; // the peer ended first and sent nothing
    bool somethingCame = false;
    bool outputFailed = false;
    bool inputLeft = false;
    int receiveError = 0;
};

} // namespace VexaSsl::tool
