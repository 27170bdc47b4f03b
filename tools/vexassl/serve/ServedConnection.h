// One connection of serve: its stack, its accepted socket and its thread, from the accept to the
// closed socket.
//
// Usually AcceptEx rather than accept, for two reasons. The handshake runs in completeAcceptEx, on
// the connection's own thread, so a slow client never holds up the accept loop; and the accepted
// socket is known beforehand, so it can be closed even after a failed handshake (accept keeps it).
// A stack that begins in the clear runs no handshake in accept, and learns its socket from nothing
// but an accept that is finished at once: there it is accept.
//
// Threads: made, accepted, started and destroyed by the accept loop; the rest runs on its own
// thread.
#pragma once

#include "common/ConnectionOptions.h"
#include "common/HostNetwork.h"
#include "common/Receiver.h"
#include "common/Watchdog.h"
#include "serve/HttpResponse.h"
#include "serve/ServeReport.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace VexaSsl::tool {

struct Envelope;

struct ServeOptions {
    ConnectionOptions connection;
    std::string listenAddress = "127.0.0.1";
    unsigned port = 0;
    bool web = false;
    bool overlapped = false;
    std::string startTls;     // "smtp", or empty
    std::string expectClient; // names, or empty for what the configuration says
    unsigned count = 0;       // connections to serve; 0 for no end
    unsigned maximumConnections = 1000;
    bool json = false;
};

// What all connections of a server share; outlives them.
struct Service {
    const ServeOptions& options;
    const IConfig& config;
    LinePrinter& printer;
    ServeReport& report;
    Watchdog& watchdog;
};

class ServedConnection {
public:
    // Makes the stack. Throws Failure (Usage) on a bad configuration.
    ServedConnection(const Service& sharedService, unsigned long connectionNumber);
    // Waits for the thread.
    ~ServedConnection();
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

    // Makes a socket for a listener of the given address family and posts the accept; event is set
    // when it has completed. Result: false when there is no socket or it failed at once.
    bool postAccept(const Listener& listener, HANDLE event);
    // Whether the completed accept brought a peer.
    bool accepted(SOCKET listener);
    // Accepts a peer that waits. Result: false when there is none any more.
    bool acceptNow(SOCKET listener);

    // Runs the handshake and the service on a new thread; ended is called last, on that thread.
    // Throws std::system_error when there is no thread to be had.
    void start(std::function<void()> ended);
    bool finished() const { return isFinished; }
    // How it went; meaningful once it has finished.
    ExitStatus outcome() const { return status; }

private:
    // Room for an address as AcceptEx wants it: 16 bytes more than the longest.
    static constexpr DWORD addressRoom = sizeof(sockaddr_storage) + 16;

    void run();
    void serveMail(Watchdog::Guard& guard);
    std::unique_ptr<Receiver> makeReceiver();
    void echo(Receiver& receiver, Watchdog::Guard& guard);
    void answerWebRequest(Receiver& receiver, Watchdog::Guard& guard);
    void closeBehindAnswer(Receiver& receiver);
    ConnectionFacts facts() const;
    void reportHandshake(const Watchdog::Guard& guard);
    void reportEnd(StreamEnd end, const Watchdog::Guard& guard);
    void reportBreakdown(const char* reason) noexcept;
    void report(ExitStatus outcome, const std::string& text);

    const Service& service;
    unsigned long number;
    ToolLog log;
    OwnedSocket socket;
    std::unique_ptr<ISocketStrategy> strategy;
    OVERLAPPED acceptState{};
    std::array<char, std::size_t{2} * addressRoom> addresses{};
    std::string peer;
    std::string failureText;
    ExitStatus status = ExitStatus::Well; // written before isFinished
    std::atomic<bool> isFinished = false;
    std::thread thread;
};

} // namespace VexaSsl::tool
