// Ends the process when its orderly end doesn't come. A thread that writes to a pipe which nobody
// reads waits in the system until the reader reads or the process ends; a thread that joins it
// waits too.
//
// Threads: made and destroyed by one; it has a thread of its own. The event is borrowed and
// outlives it.
#pragma once

#include "common/OwnedEvent.h"

#include <thread>

namespace VexaSsl::tool {

class ForcedExit {
public:
    // Once stop is set the destructor must be called within five seconds. Otherwise it writes a
    // line to stderr, if stderr takes it, and exits with status 1 at once, without destructors.
    explicit ForcedExit(OwnedEvent& stop);
    // The orderly end has come.
    ~ForcedExit();
    ForcedExit(const ForcedExit&) = delete;
    ForcedExit& operator=(const ForcedExit&) = delete;

private:
    void watch() const;

    OwnedEvent& stop;
    OwnedEvent ended;
    std::thread thread;
};

} // namespace VexaSsl::tool
