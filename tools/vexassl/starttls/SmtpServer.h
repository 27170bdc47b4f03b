// A mail session on an accepted connection: the dialog in the clear, the switch, and the dialog
// inside TLS.
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
        Success,  // ended by QUIT or by the server
        Closed,   // the client closed without QUIT
        Lost,     // the error number is in the last-error slot
        NoSwitch, // the handshake failed; the log has the reason
        Refused,  // clear text after STARTTLS
    };
    using MakeReceiver = std::function<std::unique_ptr<Receiver>()>;

    // makeReceiver: makes the receiver for the dialog inside TLS; nothing is posted before.
    SmtpServer(ISocketStrategy& strategy, SOCKET socket, Watchdog::Guard& guard,
               MakeReceiver makeReceiver);

    // taken: called for each message. Each line, and the switch, starts a new period of the guard.
    End run(const std::function<void(const Envelope&)>& taken);
    // The receiver that the session used last.
    Receiver& currentReceiver() { return *receiver; }
    // How the connection ended after Closed or Lost; a failed send counts as lost.
    StreamEnd streamEnd() const {
        return receiver->end() == StreamEnd::None ? StreamEnd::Lost : receiver->end();
    }

private:
    // One step of the session. Returns false at the end, with the reason in end.
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
    End end = End::Success;
};

} // namespace VexaSsl::tool
