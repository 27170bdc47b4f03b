// Ends the process when its good end doesn't come. A thread that writes to a pipe which nobody
// reads waits in the system, and nothing but the reader or the end of the process ends that wait;
// whoever joins such a thread waits with it.
//
// Threads: made and destroyed by one; it has a thread of its own. The event is borrowed and
// outlives it.
#pragma once

#include "common/OwnedEvent.h"

#include <thread>

namespace VexaSsl::tool {

class ForcedExit {
public:
    // From stop on there are five seconds for the destructor to be called. Behind them a line on
    // stderr, if that takes it, and exit status 1 at once, without a destructor.
    explicit ForcedExit(OwnedEvent& stop);
    // The good end has come.
    ~ForcedExit();
    ForcedExit(const ForcedExit&) = delete;
    ForcedExit& operator=(const ForcedExit&) = delete;

private:
    void watch() const;

    OwnedEvent& stopRequested;
    OwnedEvent ended;
    std::thread thread;
};

} // namespace VexaSsl::tool
