// One connection of serve: its stack, its accepted socket and its thread, from the posted AcceptEx
// to the closed socket.
//
// AcceptEx rather than accept, for two reasons. The handshake runs in completeAcceptEx, on the
// connection's own thread, so a slow client never holds up the accept loop; and the accepted socket
// is known beforehand, so it can be closed even after a failed handshake (accept keeps it).
//
// Threads: made, posted, started and destroyed by the accept loop; the rest runs on its own thread.
#pragma once

#include "ConnectionOptions.h"
#include "HostNetwork.h"
#include "Receiver.h"
#include "Watchdog.h"
#include "WebAnswer.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace VexaSsl::tool {

struct ServeOptions {
    ConnectionOptions connection;
    std::string listenAddress = "127.0.0.1";
    unsigned port = 0;
    bool web = false;
    bool overlapped = false;
};

// What all connections of a server share; outlives them.
struct Service {
    const ServeOptions& options;
    const IConfig& config;
    LinePrinter& printer;
    Watchdog& watchdog;
};

class ServedConnection {
public:
    // Makes the stack and the socket for a listener of the given address family. Throws Failure
    // (Usage) on a bad configuration; valid() is false when the system has no socket left.
    ServedConnection(const Service& sharedService, unsigned long connectionNumber, int family);
    // Waits for the thread.
    ~ServedConnection();
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

    bool valid() const { return socket.valid(); }

    // Posts the accept; event is set when it has completed. Result: false when it failed at once.
    bool postAccept(SOCKET listener, HANDLE event);
    // Whether the completed accept brought a peer.
    bool accepted(SOCKET listener);

    // Runs the handshake and the service on a new thread; ended is called last, on that thread.
    // Throws std::system_error when there is no thread to be had.
    void start(std::function<void()> ended);
    bool finished() const { return isFinished; }

private:
    // Room for an address as AcceptEx wants it: 16 bytes more than the longest.
    static constexpr DWORD addressRoom = sizeof(sockaddr_storage) + 16;

    void run();
    void serve(Watchdog::Guard& guard);
    void echo(Receiver& receiver, Watchdog::Guard& guard);
    void answerWebRequest(Receiver& receiver, Watchdog::Guard& guard);
    void discardRest(Receiver& receiver);
    bool sendAll(const char* data, std::size_t size);
    ConnectionFacts facts() const;
    void reportEnd(int lastResult, const Watchdog::Guard& guard);
    void report(const std::string& text);

    const Service& service;
    unsigned long number;
    ToolLog log;
    OwnedSocket socket;
    std::unique_ptr<ISocketStrategy> strategy;
    OVERLAPPED acceptState{};
    std::array<char, 2 * addressRoom> addresses{};
    std::atomic<bool> isFinished = false;
    std::thread thread;
};

} // namespace VexaSsl::tool
