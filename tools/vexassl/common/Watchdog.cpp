#include "common/Watchdog.h"

#include "HostCalls.h"

#include <algorithm>
#include <chrono>
#include <mutex>

namespace VexaSsl::tool {

namespace {

// The longest sleep without a deadline; a wait until the largest time point overflows in some
// standard libraries.
constexpr std::chrono::hours idleSleep{1};

} // namespace

Watchdog::Guard::Guard(Watchdog& watchdog, SOCKET s, std::chrono::seconds seconds)
    : owner(watchdog), socket(s), period(seconds), deadline(Clock::time_point::max()) {
    {
        const std::lock_guard lock(owner.mutex);
        owner.guards.insert(this);
        if (owner.ending) {
            endTraffic(socket);
        }
    }
    restart();
}

Watchdog::Guard::~Guard() {
    const std::lock_guard lock(owner.mutex);
    owner.guards.erase(this);
}

void Watchdog::Guard::restart() {
    if (period == std::chrono::seconds::zero()) {
        return;
    }
    bool isEarlier = false;
    {
        const std::lock_guard lock(owner.mutex);
        deadline = Clock::now() + period;
        isEarlier = deadline < owner.nextLook;
    }
    if (isEarlier) {
        owner.changed.notify_one();
    }
}

void Watchdog::Guard::pause() {
    const std::lock_guard lock(owner.mutex);
    deadline = Clock::time_point::max();
}

bool Watchdog::Guard::expired() const {
    const std::lock_guard lock(owner.mutex);
    return isExpired;
}

Watchdog::Watchdog() : thread([this] { watch(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_one();
    thread.join();
}

void Watchdog::endAll() {
    const std::lock_guard lock(mutex);
    ending = true;
    for (const Guard* guard : guards) {
        endTraffic(guard->socket);
    }
}

void Watchdog::watch() {
    std::unique_lock lock(mutex);
    while (!stopping) {
        const auto now = Clock::now();
        nextLook = std::min(endLateOnes(now), now + idleSleep);
        changed.wait_until(lock, nextLook);
    }
}

// Returns the next deadline.
Watchdog::Clock::time_point Watchdog::endLateOnes(Clock::time_point now) {
    auto next = Clock::time_point::max();
    for (Guard* guard : guards) {
        if (guard->deadline <= now) {
            guard->isExpired = true;
            guard->deadline = Clock::time_point::max();
            endTraffic(guard->socket);
        }
        next = std::min(next, guard->deadline);
    }
    return next;
}

} // namespace VexaSsl::tool
