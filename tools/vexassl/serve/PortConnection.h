// A connection that is served at a completion port, so that it has no thread while its peer is
// idle. The thread that takes a completion answers what was received and posts the next receive.
//
// The library's handshake and its send block. The handshake therefore runs on a short-lived thread
// of its own, and so does an answer while the socket takes no more data: otherwise a few peers that
// are silent in their handshake, or don't read, would keep every thread of the port.
#pragma once

#include "common/OverlappedReceive.h"
#include "serve/PortThreads.h"
#include "serve/ServedConnection.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

class PortConnection final : public ServedConnection, private PortThreads::Client {
public:
    // The threads outlive the connection.
    PortConnection(const Service& service, unsigned long number, PortThreads& threads)
        : ServedConnection(service, number), threads(threads) {}

    void start(std::function<void()> ended) override;

private:
    // Returns whether a receive is pending; otherwise the connection has ended.
    using Step = bool (PortConnection::*)();

    void completed() noexcept override;
    void startBlocking(Step step);
    void run(Step step) noexcept;

    bool handshake();
    bool serveCompletion();
    bool serveReceived();
    bool post();
    std::string takeReceived();
    bool answer(std::string_view received);
    bool answerWebRequest(std::string_view received);
    bool sendAnswer(std::string_view bytes);

    PortThreads& threads;
    std::function<void()> ended;
    // Held by a step to its end. The completion of the receive that it posts may reach another
    // thread before WSARecv has returned on this one.
    std::mutex stepMutex;
    std::optional<Watchdog::Guard> guard;
    std::optional<OverlappedReceive> receive;
    std::vector<char> buffer;
    std::size_t nextSize = 0;
    WebRequest request;
    bool hasResponded = false; // to a web request
    std::size_t discarded = 0;
};

} // namespace VexaSsl::tool
