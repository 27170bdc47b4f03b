// Turns a request to end the program (SIGTERM and SIGINT, or a console's Ctrl-C and close) into one
// call. Made before any other thread, since threads inherit the mask of signals.
#pragma once

#include <functional>
#include <memory>

namespace VexaSsl::tool {

class StopSignal {
public:
    // Calls stop once, on a thread of its own, at the first signal. Later signals are ignored.
    explicit StopSignal(std::function<void()> stop);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

private:
    class Listener; // of each system
    std::unique_ptr<Listener> listener;
};

} // namespace VexaSsl::tool
