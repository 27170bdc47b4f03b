// Ends connections that take too long. A receive timeout on the socket isn't enough against a peer
// that sends single bytes, since each byte restarts it. The watchdog measures whole steps (a
// handshake, a delivered receive) and shuts the socket down when a step is late; the blocked
// operation then ends as if the peer had gone.
//
// One thread serves every connection. Threads: any function may be called from any thread; a guard
// belongs to one connection and is destroyed before its socket is closed, so that a reused number
// is never shut down.
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

        // Starts a new period after a finished step.
        void restart();
        // No deadline until the next restart.
        void pause();
        // Whether the socket was shut down because a period ended.
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

    // Shuts down every guarded socket, and every one that is guarded later.
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
