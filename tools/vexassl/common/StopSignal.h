// Turns what a user or the system ends a program with (SIGTERM and SIGINT, or a console's Ctrl-C
// and close) into one call. To be made before any other thread, since threads inherit which signals
// they leave alone; until then it must be the only one.
#pragma once

#include <functional>
#include <memory>

namespace VexaSsl::tool {

class StopSignal {
public:
    // Calls stop once, on a thread of its own, at the first signal. Further ones are ignored.
    explicit StopSignal(std::function<void()> stop);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

private:
    class Listener; // the system's side of it
    std::unique_ptr<Listener> listener;
};

} // namespace VexaSsl::tool
