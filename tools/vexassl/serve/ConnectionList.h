// The connections that a server runs, and those that have ended and wait to be destroyed.
//
// Threads: one uses it; connections end on their own.
#pragma once

#include "common/OwnedEvent.h"
#include "serve/ServedConnection.h"

#include <condition_variable>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>

namespace VexaSsl::tool {

class ConnectionList {
public:
    using Connections = std::list<std::unique_ptr<ServedConnection>>;

    // Starts the connection, which is destroyed if it throws.
    void start(std::unique_ptr<ServedConnection> connection);

    // The number of running connections.
    std::size_t size() const;
    // Returns the connections that have ended since the last call, and resets the event.
    Connections takeEnded();
    // Set when a connection has ended.
    HANDLE endedEvent() const { return event.get(); }
    // Waits until every connection has ended.
    void waitForAll();

private:
    void end(Connections::iterator connection);

    mutable std::mutex mutex;
    std::condition_variable changed;
    Connections running;
    Connections ended;
    OwnedEvent event;
};

} // namespace VexaSsl::tool
