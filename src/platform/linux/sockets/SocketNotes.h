// What Winsock remembers of a socket and the system doesn't: connections that a condition function
// has put off, and that a non-blocking connect is under way. Any thread.
#pragma once

#include "platform/linux/base/Descriptor.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <unordered_map>

namespace VexaSsl::linux {

class SocketNotes {
public:
    static SocketNotes& instance();

    // Connections that the listener's next accept gets before any new one.
    void deferConnection(int listener, Descriptor connection);
    Descriptor takeDeferred(int listener); // none: an empty Descriptor
    bool hasDeferred(int listener);

    void connectStarted(int fd);
    void connectEnded(int fd);
    bool isConnecting(int fd);

    // The socket is closed, or its number is new: deferred connections are closed.
    void forget(int fd);

private:
    struct Note {
        std::deque<Descriptor> deferred;
        bool isConnecting = false;
    };

    // Removes a note that says nothing. mutex is held.
    void tidy(int fd);
    Note* find(int fd); // null when there is none; mutex is held

    std::mutex mutex;
    std::unordered_map<int, Note> notes;
    std::atomic<std::size_t> count{0}; // nearly always 0, and then nothing is locked
};

} // namespace VexaSsl::linux
