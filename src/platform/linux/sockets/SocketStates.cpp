#include "platform/linux/sockets/SocketStates.h"
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

SocketStates& SocketStates::instance() {
    static SocketStates& states = *new SocketStates; // never destroyed: threads may outlive main
    return states;
}

SocketStates::State* SocketStates::find(int fd) {
    const auto found = states.find(fd);
    return found == states.end() ? nullptr : &found->second;
}

void SocketStates::removeIfEmpty(int fd) {
    const State* state = find(fd);
    if (state != nullptr && state->deferred.empty() && !state->isConnecting) {
        states.erase(fd);
    }
    count = states.size();
}

void SocketStates::deferConnection(int listener, Descriptor connection) {
    const std::lock_guard lock(mutex);
    states[listener].deferred.push_back(std::move(connection));
    count = states.size();
}

Descriptor SocketStates::takeDeferred(int listener) {
    if (count == 0) {
        return Descriptor{};
    }
    const std::lock_guard lock(mutex);
    State* state = find(listener);
    if (state == nullptr || state->deferred.empty()) {
        return Descriptor{};
    }
    Descriptor connection = std::move(state->deferred.front());
    state->deferred.pop_front();
    removeIfEmpty(listener);
    return connection;
}

bool SocketStates::hasDeferred(int listener) {
    if (count == 0) {
        return false;
    }
    const std::lock_guard lock(mutex);
    const State* state = find(listener);
    return state != nullptr && !state->deferred.empty();
}

void SocketStates::connectStarted(int fd) {
    const std::lock_guard lock(mutex);
    states[fd].isConnecting = true;
    count = states.size();
}

void SocketStates::connectEnded(int fd) {
    if (count == 0) {
        return;
    }
    const std::lock_guard lock(mutex);
    if (State* state = find(fd)) {
        state->isConnecting = false;
        removeIfEmpty(fd);
    }
}

bool SocketStates::isConnecting(int fd) {
    if (count == 0) {
        return false;
    }
    const std::lock_guard lock(mutex);
    const State* state = find(fd);
    return state != nullptr && state->isConnecting;
}

void SocketStates::forget(int fd) {
    if (count == 0) {
        return;
    }
    decltype(states)::node_type node; // closes the connections after the lock is released
    const std::lock_guard lock(mutex);
    node = states.extract(fd);
    count = states.size();
}

} // namespace VexaSsl::linux
