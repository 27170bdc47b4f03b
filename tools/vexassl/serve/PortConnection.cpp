#include "serve/PortConnection.h"

#include "common/SendAll.h"
#include "common/SocketSetup.h"

#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

// The library posts three times the size of a receive's buffer, so an idle connection has a small
// one. After data that didn't fit the next receive has one for whole records.
constexpr std::size_t idleSize = 1024;
constexpr std::size_t busySize = 16384;

// What a step answers, at most what one receive has brought and a partial record before it, fits in
// the part of this that is free while a socket counts as ready.
constexpr int sendBufferSize = 262144;

} // namespace

void PortConnection::start(std::function<void()> whenEnded) {
    ended = std::move(whenEnded);
    nextSize = idleSize;
    startBlocking(&PortConnection::handshake);
}

void PortConnection::completed() noexcept {
    if (takesData(socket.get())) {
        run(&PortConnection::serveReceived);
        return;
    }
    try {
        startBlocking(&PortConnection::serveReceived);
    } catch (const std::exception&) {
        // Without a thread of its own it may keep this one until its time is over.
        run(&PortConnection::serveReceived);
    }
}

void PortConnection::startBlocking(Step step) {
    threads.startBlocking([this, step] { run(step); });
}

void PortConnection::run(Step step) noexcept {
    bool isPending = false;
    {
        const std::lock_guard lock(stepMutex);
        try {
            isPending = (this->*step)();
        } catch (const std::exception& error) {
            reportBreakdown(error.what());
        }
    }
    if (isPending) {
        return; // the connection may not exist any more
    }
    guard.reset();
    close();
    std::exchange(ended, {})();
}

bool PortConnection::handshake() {
    begin();
    guard.emplace(service.watchdog, socket.get(), service.options.connection.timeout());
    if (strategy->completeAcceptEx() == SOCKET_ERROR) {
        reportHandshake(*guard);
        return false;
    }
    reportSecured();
    guard->restart();
    setSendBuffer(socket.get(), sendBufferSize);
    if (!threads.bind(socket.get(), *this)) {
        reportEnd(StreamEnd::Lost, *guard);
        return false;
    }
    receive.emplace(*strategy, socket.get());
    return post() || serveReceived();
}

bool PortConnection::serveReceived() {
    do {
        const std::string received = takeReceived();
        if (!received.empty() && !answer(received)) {
            return false;
        }
        if (receive->end().isSet()) {
            receive->end().report();
            if (!hasResponded) {
                reportEnd(receive->end().kind(), *guard);
            }
            return false;
        }
    } while (!post());
    return true;
}

bool PortConnection::post() {
    if (buffer.size() != nextSize) {
        buffer = std::vector<char>(nextSize);
    }
    return receive->post(buffer.data(), static_cast<int>(buffer.size()), nullptr);
}

// Returns everything that can be read without the network.
std::string PortConnection::takeReceived() {
    std::string received(buffer.data(), static_cast<std::size_t>(receive->finish(false)));
    while (receive->mayHoldMore()) {
        std::array<char, busySize> more;
        const int count = receive->takeHeld(more.data(), static_cast<int>(more.size()));
        received.append(more.data(), static_cast<std::size_t>(count));
    }
    nextSize = receive->isInsideRecord() || received.size() > idleSize ? busySize : idleSize;
    return received;
}

// Returns false when the connection has ended.
bool PortConnection::answer(std::string_view received) {
    if (service.options.web) {
        return answerWebRequest(received);
    }
    guard->restart();
    return sendAnswer(received);
}

// The guard isn't restarted between pieces of a head: a request sent byte by byte has one period.
bool PortConnection::answerWebRequest(std::string_view received) {
    if (hasResponded) {
        discarded += received.size();
        return discarded < maximumDiscarded;
    }
    request.append(received);
    if (!request.isComplete()) {
        return true;
    }
    guard->restart();
    if (!sendAnswer(request.response(facts()))) {
        return false;
    }
    hasResponded = true;
    platform::shutdown(socket.get(), SD_SEND);
    return true;
}

bool PortConnection::sendAnswer(std::string_view bytes) {
    if (!sendAll(*strategy, socket.get(), bytes)) {
        reportEnd(StreamEnd::Lost, *guard);
        return false;
    }
    guard->restart();
    return true;
}

} // namespace VexaSsl::tool
