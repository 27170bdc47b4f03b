#include "serve/Server.h"

#include "serve/PortConnection.h"
#include "serve/ThreadConnection.h"

#include <chrono>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

// How long the accept loop waits when the system has no socket or thread left.
constexpr DWORD backOffMilliseconds = 100;

// Each follows a delay, as failed waits do.
constexpr int maximumFailedWaits = 10;

// How often a loop that can't wait for a peer and for the stop together checks for the stop.
constexpr long pollMicroseconds = 100000;

std::unique_ptr<ISocketStrategy> plainStack(ToolLog& log) {
    return instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listen"));
}

} // namespace

Server::Server(const Service& service, Listener listener, OwnedEvent& stop)
    : service(service), listener(std::move(listener)), stopRequested(stop), log(service.printer),
      messages(service.printer), plain(plainStack(log)),
      portThreads(service.options.usesPort() ? std::make_unique<PortThreads>() : nullptr) {
    // A waiting peer may be gone when it is accepted, and the stop must be noticed then too.
    if (!service.options.startTls.empty()) {
        setWaiting(this->listener.socket.get(), false);
    }
}

Server::~Server() {
    end();
}

ExitStatus Server::run() {
    while (acceptsMore() && acceptOne()) {
        reap();
    }
    while (waitError == 0 && connections.size() > 0 && waitForEnd()) {
    }
    stopped = stopped || (waitError == 0 && isStopped(0));
    end();
    reap();
    if (waitError != 0) {
        throw Failure(ExitStatus::CannotConnect,
                      "cannot wait for clients: " + socketErrorText(waitError));
    }
    return stopped ? ExitStatus::Success : firstFailure;
}

// Closing the listener aborts a posted accept.
void Server::end() {
    listener.socket.close();
    service.watchdog.endAll();
    connections.waitForAll();
}

bool Server::acceptsMore() const {
    return service.options.count == 0 || taken < service.options.count;
}

// Returns false when the server is to stop. Lack of memory or threads costs one connection, never
// the others.
bool Server::acceptOne() {
    try {
        switch (acceptNext()) {
        case Step::Accepted:
            return true;
        case Step::Missed:
            reportMissedPeer();
            return backOff();
        case Step::Stopped:
        case Step::WaitFailed:
            return false;
        }
    } catch (const std::exception& error) {
        messages.print(std::string("connection dropped: ") + error.what());
    }
    return backOff();
}

Server::Step Server::acceptNext() {
    if (!waitForRoom()) {
        return Step::Stopped;
    }
    pending = makeConnection();
    const Step step = service.options.startTls.empty() ? acceptPosted() : acceptWaiting();
    if (step == Step::Accepted) {
        startPending();
    }
    return step;
}

std::unique_ptr<ServedConnection> Server::makeConnection() {
    ++lastNumber;
    if (portThreads) {
        return std::make_unique<PortConnection>(service, lastNumber, *portThreads);
    }
    return std::make_unique<ThreadConnection>(service, lastNumber);
}

// Destroys ended connections while it waits.
Server::Step Server::acceptPosted() {
    acceptCompleted.reset();
    if (!pending->postAccept(listener, acceptCompleted.get())) {
        return Step::Missed;
    }
    const HANDLE events[] = {stopRequested.get(), acceptCompleted.get(), connections.endedEvent()};
    while (true) {
        const DWORD woken = waitFor(events, platform::WSA_INFINITE);
        if (woken == platform::WSA_WAIT_EVENT_0 + 1) {
            return pending->accepted(listener.socket.get()) ? Step::Accepted : Step::Missed;
        }
        if (woken != platform::WSA_WAIT_EVENT_0 + 2) {
            return Step::Stopped;
        }
        reap();
    }
}

// A stack that begins in the clear must use accept, and a blocking accept wouldn't notice the stop.
// So accept is called when a peer waits.
Server::Step Server::acceptWaiting() {
    int failedPolls = 0;
    for (int ready = 0; (ready = pollListener()) <= 0;) {
        failedPolls = ready == 0 ? 0 : failedPolls + 1;
        if (failedPolls == maximumFailedWaits) {
            waitError = platform::WSAGetLastError();
            return Step::WaitFailed;
        }
        if (isStopped(ready == 0 ? 0 : backOffMilliseconds)) {
            return Step::Stopped;
        }
        reap();
    }
    return pending->acceptNow(listener.socket.get()) ? Step::Accepted : Step::Missed;
}

// Returns what select returns.
int Server::pollListener() {
    fd_set readable{};
    platform::socketSetAdd(listener.socket.get(), readable);
    const timeval pollTime{0, pollMicroseconds};
    return plain->select(0, &readable, nullptr, nullptr, &pollTime);
}

void Server::startPending() {
    ++taken;
    try {
        connections.start(std::move(pending));
    } catch (...) {
        note(ExitStatus::Usage);
        throw;
    }
}

// Later peers wait in the listener's queue. Returns false when the server is to stop.
bool Server::waitForRoom() {
    while (connections.size() >= service.options.maximumConnections) {
        if (!waitForEnd()) {
            return false;
        }
    }
    return true;
}

bool Server::waitForEnd() {
    const HANDLE events[] = {stopRequested.get(), connections.endedEvent()};
    const DWORD woken = waitFor(events, platform::WSA_INFINITE);
    reap();
    return woken == platform::WSA_WAIT_EVENT_0 + 1;
}

// Called before anything else sets the last error. A peer that left while it waited isn't reported.
void Server::reportMissedPeer() {
    const int error = platform::WSAGetLastError();
    if (error != WSAECONNABORTED && error != WSAECONNRESET && error != WSAEWOULDBLOCK) {
        messages.print("cannot take connections for now: " + socketErrorText(error));
    }
}

bool Server::backOff() {
    pending.reset();
    return !isStopped(backOffMilliseconds);
}

bool Server::isStopped(DWORD milliseconds) {
    const HANDLE events[] = {stopRequested.get()};
    return waitFor(events, milliseconds) != platform::WSA_WAIT_TIMEOUT;
}

// Retries when the wait fails, since lack of memory or descriptors passes. Returns what the wait
// returned; WSA_WAIT_FAILED when every attempt failed, with waitError set.
DWORD Server::waitFor(std::span<const HANDLE> events, DWORD milliseconds) {
    for (int failedWaits = 1;; ++failedWaits) {
        const DWORD woken = platform::WSAWaitForMultipleEvents(
            static_cast<DWORD>(events.size()), events.data(), FALSE, milliseconds, FALSE);
        if (woken != platform::WSA_WAIT_FAILED) {
            return woken;
        }
        if (failedWaits == maximumFailedWaits) {
            waitError = platform::WSAGetLastError();
            return woken;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(backOffMilliseconds));
    }
}

void Server::reap() {
    for (const auto& connection : connections.takeEnded()) {
        note(connection->outcome());
    }
}

void Server::note(ExitStatus outcome) {
    if (firstFailure == ExitStatus::Success) {
        firstFailure = outcome;
    }
}

} // namespace VexaSsl::tool
