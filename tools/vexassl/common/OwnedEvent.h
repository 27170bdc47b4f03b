// Owns a manual-reset event.
#pragma once

#include "HostCalls.h"

#include <new>

namespace VexaSsl::tool {

class OwnedEvent {
public:
    // Throws std::bad_alloc when the system can't make another event.
    OwnedEvent() : event(platform::WSACreateEvent()) {
        if (event == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~OwnedEvent() { platform::WSACloseEvent(event); }
    OwnedEvent(const OwnedEvent&) = delete;
    OwnedEvent& operator=(const OwnedEvent&) = delete;

    HANDLE get() const { return event; }
    void set() { platform::WSASetEvent(event); }
    void reset() { platform::WSAResetEvent(event); }

private:
    HANDLE event;
};

} // namespace VexaSsl::tool
