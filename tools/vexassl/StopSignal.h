// Turns SIGTERM and SIGINT into one call. To be made before any other thread, since threads inherit
// which signals they leave alone; until then it must be the only one.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace VexaSsl::tool {

class StopSignal {
public:
    // Calls stop once, on a thread of its own, at the first signal. Further ones are ignored.
    explicit StopSignal(std::function<void()> stop);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

private:
    void wait(const std::function<void()>& stop);

    std::atomic<bool> ending = false;
    std::thread thread;
};

} // namespace VexaSsl::tool
