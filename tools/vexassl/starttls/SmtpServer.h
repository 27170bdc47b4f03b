// A mail session on an accepted connection: the talk in the clear, the switch, and the talk inside
// TLS.
//
// Threads: the connection's own. Ownership: everything is borrowed and outlives it.
#pragma once

#include "common/Receiver.h"
#include "common/Watchdog.h"
#include "starttls/BufferedReader.h"
#include "starttls/SmtpSession.h"

#include <functional>
#include <memory>

namespace VexaSsl::tool {

class SmtpServer {
public:
    enum class End {
        Well,     // the client said goodbye, or was told it
        Closed,   // the client closed without a word
        Lost,     // the number of the failure lies in the last-error slot
        NoSwitch, // the handshake failed; the log tells why
        Refused,  // clear text behind STARTTLS
    };
    using MakeReceiver = std::function<std::unique_ptr<Receiver>()>;

    // receiverInTls: makes the receiver for the talk inside TLS; nothing may be posted before.
    SmtpServer(ISocketStrategy& borrowedStrategy, SOCKET s, Watchdog::Guard& connectionGuard,
               MakeReceiver receiverInTls);

    // taken: called for each message. Every line starts the guard's period anew, the switch has a
    // period of its own.
    End run(const std::function<void(const Envelope&)>& taken);
    // What the session read from last.
    Receiver& currentReceiver() { return *receiver; }
    // How the connection ended behind Closed or Lost; a send that failed has lost it, too.
    StreamEnd streamEnd() const {
        return receiver->end() == StreamEnd::None ? StreamEnd::Lost : receiver->end();
    }

private:
    // One step of the session. Result: false at the end, which lies in end.
    bool step(const std::function<void(const Envelope&)>& taken);
    bool perform(const SmtpSession::Answer& answer);
    bool startTls();
    bool stop(End why);

    ISocketStrategy& strategy;
    SOCKET socket;
    Watchdog::Guard& guard;
    MakeReceiver makeReceiver;
    std::unique_ptr<Receiver> receiver;
    std::unique_ptr<BufferedReader> reader;
    SmtpSession session;
    SmtpSession::Next next = SmtpSession::Next::Command;
    End end = End::Well;
};

} // namespace VexaSsl::tool
