#include "platform/linux/sockets/SocketNotes.h"
#include <mutex>
#include <utility>

namespace VexaSsl::linux {

SocketNotes& SocketNotes::instance() {
    static SocketNotes& notes = *new SocketNotes; // never destroyed: threads may outlive main
    return notes;
}

SocketNotes::Note* SocketNotes::find(int fd) {
    const auto found = notes.find(fd);
    return found == notes.end() ? nullptr : &found->second;
}

void SocketNotes::tidy(int fd) {
    const Note* note = find(fd);
    if (note != nullptr && note->deferred.empty() && !note->isConnecting) {
        notes.erase(fd);
    }
    count = notes.size();
}

void SocketNotes::deferConnection(int listener, Descriptor connection) {
    const std::lock_guard lock(mutex);
    notes[listener].deferred.push_back(std::move(connection));
    count = notes.size();
}

Descriptor SocketNotes::takeDeferred(int listener) {
    if (count == 0) {
        return Descriptor{};
    }
    const std::lock_guard lock(mutex);
    Note* note = find(listener);
    if (note == nullptr || note->deferred.empty()) {
        return Descriptor{};
    }
    Descriptor connection = std::move(note->deferred.front());
    note->deferred.pop_front();
    tidy(listener);
    return connection;
}

bool SocketNotes::hasDeferred(int listener) {
    if (count == 0) {
        return false;
    }
    const std::lock_guard lock(mutex);
    const Note* note = find(listener);
    return note != nullptr && !note->deferred.empty();
}

void SocketNotes::connectStarted(int fd) {
    const std::lock_guard lock(mutex);
    notes[fd].isConnecting = true;
    count = notes.size();
}

void SocketNotes::connectEnded(int fd) {
    if (count == 0) {
        return;
    }
    const std::lock_guard lock(mutex);
    if (Note* note = find(fd)) {
        note->isConnecting = false;
        tidy(fd);
    }
}

bool SocketNotes::isConnecting(int fd) {
    if (count == 0) {
        return false;
    }
    const std::lock_guard lock(mutex);
    const Note* note = find(fd);
    return note != nullptr && note->isConnecting;
}

void SocketNotes::forget(int fd) {
    if (count == 0) {
        return;
    }
    decltype(notes)::node_type note; // closes the connections after the lock is released
    const std::lock_guard lock(mutex);
    note = notes.extract(fd);
    count = notes.size();
}

} // namespace VexaSsl::linux
