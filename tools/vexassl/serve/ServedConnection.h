// A connection of serve: its stack and its accepted socket, from the accept to the report of its
// end. Derived classes decide which threads serve it.
//
// Uses AcceptEx rather than accept for two reasons. The handshake runs in completeAcceptEx, on
// another thread, so a slow client never delays the accept loop; and the accepted socket is known
// beforehand, so it can be closed after a failed handshake, too (accept keeps it). A stack that
// begins in the clear runs no handshake in accept and learns its socket only from accept, so it
// uses accept.
//
// Threads: made, accepted, started and destroyed by the accept loop; the rest runs on others, one
// at a time.
#pragma once

#include "common/ConnectionOptions.h"
#include "common/HostNetwork.h"
#include "common/StreamEnd.h"
#include "common/Watchdog.h"
#include "serve/HttpResponse.h"
#include "serve/ServeReport.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace VexaSsl::tool {

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

    // A dialog that begins in the clear waits for lines, on a thread for each connection.
    bool usesPort() const { return overlapped && startTls.empty(); }
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
    virtual ~ServedConnection() = default;
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

    // Makes a socket for a listener of the given address family and posts the accept; event is set
    // when it has completed. Returns false when no socket can be made or the accept fails at once.
    bool postAccept(const Listener& listener, HANDLE event);
    // Returns whether the completed accept connected a peer.
    bool accepted(SOCKET listener);
    // Accepts a waiting peer. Returns false when no peer waits.
    bool acceptNow(SOCKET listener);

    // Runs the handshake and the service on other threads, which call ended last: it may destroy
    // the connection. Throws std::system_error when no thread can be made.
    virtual void start(std::function<void()> ended) = 0;
    // The outcome; valid once the connection has ended.
    ExitStatus outcome() const { return status; }

protected:
    // How much is read and discarded after the last response: closing a socket with unread data
    // resets the connection before the peer has read the response.
    static constexpr std::size_t maximumDiscarded = 262144;

    // Reports the connection and prepares its socket. Throws std::bad_alloc.
    void begin();
    // Logs what the handshake agreed on; nothing in the clear.
    void reportSecured();
    // Closes the connection and reports its end.
    void close();

    // What is reported last before close is the outcome; Success without a report.
    void reportHandshake(const Watchdog::Guard& guard);
    void reportEnd(StreamEnd end, const Watchdog::Guard& guard);
    void reportBreakdown(const char* reason) noexcept;
    void report(ExitStatus outcome, const std::string& text);

    ConnectionFacts facts();

    const Service& service;
    unsigned long number;
    ToolLog log;
    OwnedSocket socket;
    std::unique_ptr<ISocketStrategy> strategy;

private:
    // The size of an address for AcceptEx: 16 bytes more than the longest.
    static constexpr DWORD addressRoom = sizeof(sockaddr_storage) + 16;

    OVERLAPPED acceptState{};
    std::array<char, std::size_t{2} * addressRoom> addresses{};
    std::string peer;
    std::string failureText;
    ExitStatus status = ExitStatus::Success;
};

} // namespace VexaSsl::tool
