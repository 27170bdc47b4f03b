// Ends connections that take too long. A receive time-out on the socket isn't enough against a peer
// that feeds single bytes: each byte starts it anew. The watchdog counts whole steps (a handshake,
// a delivered receive) and shuts the socket down from outside when a step is late; the blocked
// operation then ends as if the peer had gone.
//
// One thread serves every connection. Threads: any function may be called from any thread; a guard
// belongs to one connection and is gone before its socket is closed, so that a reused number is
// never shut down.
#pragma once

#include "VexaSsl/Sockets.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

namespace VexaSsl::tool {

class Watchdog {
public:
    using Clock = std::chrono::steady_clock;

    class Guard {
    public:
        // Starts the first period. A period of 0 never ends.
        Guard(Watchdog& watchdog, SOCKET s, std::chrono::seconds period);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

        // A step is done: the next one has the whole period again.
        void restart();
        // No deadline until the next restart.
        void pause();
        // The socket was shut down because a period was over.
        bool expired() const;

    private:
        friend class Watchdog;

        Watchdog& owner;
        SOCKET socket;
        std::chrono::seconds period;
        Clock::time_point deadline;
        bool isExpired = false;
    };

    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // Shuts down every guarded socket, and every one that is guarded from now on.
    void endAll();

private:
    void watch();
    Clock::time_point endLateOnes(Clock::time_point now);

    std::mutex mutex;
    std::condition_variable changed;
    std::set<Guard*> guards;
    Clock::time_point nextLook = Clock::time_point::max();
    bool ending = false;
    bool stopping = false;
    std::thread thread;
};

} // namespace VexaSsl::tool
