// One connection of serve: its stack, its accepted socket and its thread, from the accept to the
// closed socket.
//
// Uses AcceptEx rather than accept for two reasons. The handshake runs in completeAcceptEx, on the
// connection's own thread, so a slow client never delays the accept loop; and the accepted socket
// is known beforehand, so it can be closed after a failed handshake, too (accept keeps it). A stack
// that begins in the clear runs no handshake in accept and learns its socket only from accept, so
// it uses accept.
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
    std::string expectClient; // names; empty: as configured
    unsigned count = 0;       // connections to serve; 0: no limit
    unsigned maximumConnections = 1000;
    bool json = false;
};

// Shared by all connections of a server; outlives them.
struct Service {
    const ServeOptions& options;
    const IConfig& config;
    LinePrinter& printer;
    ServeReport& report;
    Watchdog& watchdog;
};

class ServedConnection {
public:
    // Makes the stack. Throws Failure (Usage) for an invalid configuration.
    ServedConnection(const Service& service, unsigned long number);
    // Waits for the thread.
    ~ServedConnection();
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

    // Makes a socket for a listener of the given address family and posts the accept; event is set
    // when it has completed. Returns false when no socket can be made or the accept fails at once.
    bool postAccept(const Listener& listener, HANDLE event);
    // Returns whether the completed accept connected a peer.
    bool accepted(SOCKET listener);
    // Accepts a waiting peer. Returns false when no peer waits.
    bool acceptNow(SOCKET listener);

    // Runs the handshake and the service on a new thread, which calls ended last. Throws
    // std::system_error when no thread can be made.
    void start(std::function<void()> ended);
    bool finished() const { return isFinished; }
    // The outcome; valid once the connection has finished.
    ExitStatus outcome() const { return status; }

private:
    // The size of an address for AcceptEx: 16 bytes more than the longest.
    static constexpr DWORD addressRoom = sizeof(sockaddr_storage) + 16;

    void run();
    void serveMail(Watchdog::Guard& guard);
    std::unique_ptr<Receiver> makeReceiver();
    void echo(Receiver& receiver, Watchdog::Guard& guard);
    void answerWebRequest(Receiver& receiver, Watchdog::Guard& guard);
    void closeAfterResponse(Receiver& receiver);
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
    ExitStatus status = ExitStatus::Success; // written before isFinished
    std::atomic<bool> isFinished = false;
    std::thread thread;
};

} // namespace VexaSsl::tool
