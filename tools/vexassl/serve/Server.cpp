#include "serve/Server.h"

#include <chrono>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

// How long the accept loop rests when the system is out of sockets or threads.
constexpr DWORD restMilliseconds = 100;

// A rest lies between them, as between waits that fail.
constexpr int maximumFailedLooks = 10;

// How often a loop that can't wait for a peer and a stop at once looks for a stop.
constexpr long lookMicroseconds = 100000;

std::unique_ptr<ISocketStrategy> plainStack(ToolLog& log) {
    return instantiateSocketStrategy(log, *constructDefaultSslConfiguration(log, L"listen"));
}

} // namespace

Server::Server(const Service& sharedService, Listener listeningSocket, OwnedEvent& stop)
    : service(sharedService), listener(std::move(listeningSocket)), stopRequested(stop),
      log(sharedService.printer), trouble(sharedService.printer), plain(plainStack(log)) {
    // A peer that was waiting may be gone when it is accepted, and the stop must be seen then too.
    if (!service.options.startTls.empty()) {
        setWaiting(listener.socket.get(), false);
    }
}

Server::~Server() {
    end();
}

ExitStatus Server::run() {
    while (wantsMore() && acceptOne()) {
        reap();
    }
    while (lookError == 0 && !connections.empty() && waitForEnd()) {
    }
    stopped = stopped || (lookError == 0 && isStopped(0));
    end();
    if (lookError != 0) {
        throw Failure(ExitStatus::CannotConnect,
                      "cannot wait for clients: " + socketErrorText(lookError));
    }
    return stopped ? ExitStatus::Well : firstFailure;
}

// Closing the listener aborts an accept that is still posted.
void Server::end() {
    listener.socket.close();
    service.watchdog.endAll();
    connections.clear();
}

bool Server::wantsMore() const {
    return service.options.count == 0 || taken < service.options.count;
}

// Result: false when the server is to stop. A want of memory or threads costs one connection, never
// the others.
bool Server::acceptOne() {
    try {
        switch (acceptNext()) {
        case Step::Accepted:
            return true;
        case Step::Missed:
            tellMissed();
            return rest();
        case Step::Stopped:
        case Step::Deaf:
            return false;
        }
    } catch (const std::exception& error) {
        trouble.tell(std::string("connection dropped: ") + error.what());
    }
    return rest();
}

Server::Step Server::acceptNext() {
    if (!waitForRoom()) {
        return Step::Stopped;
    }
    pending = std::make_unique<ServedConnection>(service, ++lastNumber);
    const Step step = service.options.startTls.empty() ? acceptPosted() : acceptWaiting();
    if (step == Step::Accepted) {
        startPending();
    }
    return step;
}

// Joins ended connections while it waits.
Server::Step Server::acceptPosted() {
    acceptCompleted.reset();
    if (!pending->postAccept(listener, acceptCompleted.get())) {
        return Step::Missed;
    }
    const HANDLE events[] = {stopRequested.get(), acceptCompleted.get(), connectionEnded.get()};
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

// A stack that begins in the clear must accept by itself, and an accept that blocks would not see
// the stop. So it is called when a peer waits.
Server::Step Server::acceptWaiting() {
    int failedLooks = 0;
    for (int ready = 0; (ready = lookForPeer()) <= 0;) {
        failedLooks = ready == 0 ? 0 : failedLooks + 1;
        if (failedLooks == maximumFailedLooks) {
            lookError = platform::WSAGetLastError();
            return Step::Deaf;
        }
        if (isStopped(ready == 0 ? 0 : restMilliseconds)) {
            return Step::Stopped;
        }
        reap();
    }
    return pending->acceptNow(listener.socket.get()) ? Step::Accepted : Step::Missed;
}

// Result: as select gives it.
int Server::lookForPeer() {
    fd_set readable{};
    platform::socketSetAdd(listener.socket.get(), readable);
    const timeval look{0, lookMicroseconds};
    return plain->select(0, &readable, nullptr, nullptr, &look);
}

void Server::startPending() {
    ++taken;
    connections.push_back(std::move(pending));
    try {
        connections.back()->start([this] { connectionEnded.set(); });
    } catch (const std::exception&) {
        connections.pop_back();
        throw;
    }
}

// Later peers wait in the listener's queue. Result: false when the server is to stop.
bool Server::waitForRoom() {
    while (connections.size() >= service.options.maximumConnections) {
        if (!waitForEnd()) {
            return false;
        }
    }
    return true;
}

bool Server::waitForEnd() {
    const HANDLE events[] = {stopRequested.get(), connectionEnded.get()};
    const DWORD woken = waitFor(events, platform::WSA_INFINITE);
    reap();
    return woken == platform::WSA_WAIT_EVENT_0 + 1;
}

// To be called before anything else sets the last error. A peer that went away while it waited is
// no trouble.
void Server::tellMissed() {
    const int error = platform::WSAGetLastError();
    if (error != WSAECONNABORTED && error != WSAECONNRESET && error != WSAEWOULDBLOCK) {
        trouble.tell("cannot take connections for now: " + socketErrorText(error));
    }
}

bool Server::rest() {
    pending.reset();
    return !isStopped(restMilliseconds);
}

bool Server::isStopped(DWORD milliseconds) {
    const HANDLE events[] = {stopRequested.get()};
    return waitFor(events, milliseconds) != platform::WSA_WAIT_TIMEOUT;
}

// A want of memory or descriptors, for which a wait can fail too, passes. Result: as the wait's;
// WSA_WAIT_FAILED when it doesn't pass, and then lookError is set.
DWORD Server::waitFor(std::span<const HANDLE> events, DWORD milliseconds) {
    for (int failedWaits = 1;; ++failedWaits) {
        const DWORD woken = platform::WSAWaitForMultipleEvents(
            static_cast<DWORD>(events.size()), events.data(), FALSE, milliseconds, FALSE);
        if (woken != platform::WSA_WAIT_FAILED) {
            return woken;
        }
        if (failedWaits == maximumFailedLooks) {
            lookError = platform::WSAGetLastError();
            return woken;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(restMilliseconds));
    }
}

void Server::reap() {
    connectionEnded.reset();
    connections.remove_if([this](const auto& connection) {
        if (!connection->finished()) {
            return false;
        }
        if (firstFailure == ExitStatus::Well) {
            firstFailure = connection->outcome();
        }
        return true;
    });
}

} // namespace VexaSsl::tool
