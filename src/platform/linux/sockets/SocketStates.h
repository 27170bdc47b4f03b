// The state that Winsock keeps for a socket and the system doesn't: connections that a condition
// function has deferred, and whether a non-blocking connect is in progress. Any thread.
#pragma once

#include "platform/linux/base/Descriptor.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <unordered_map>

namespace VexaSsl::linux {

class SocketStates {
public:
    static SocketStates& instance();

    // Deferred connections, which an accept on listener returns before any new one.
    void deferConnection(int listener, Descriptor connection);
    Descriptor takeDeferred(int listener); // empty when no connection waits
    bool hasDeferred(int listener);

    void connectStarted(int fd);
    void connectEnded(int fd);
    bool isConnecting(int fd);

    // Called when the socket is closed and when a new one has the descriptor. Closes deferred
    // connections.
    void forget(int fd);

private:
    struct State {
        std::deque<Descriptor> deferred;
        bool isConnecting = false;
    };

    // Called with the lock held.
    void removeIfEmpty(int fd);
    State* find(int fd); // null for an unknown socket

    std::mutex mutex;
    std::unordered_map<int, State> states;
    std::atomic<std::size_t> count{0}; // of states; nearly always 0, and then no lock is taken
};

} // namespace VexaSsl::linux
