#include "common/StopSignal.h"

#include "VexaSsl/Sockets.h"

#include <mutex>
#include <utility>

namespace VexaSsl::tool {

// The console calls this on a thread of its own and ends the process when a call about its closing
// returns. Such a call waits until the program has ended by itself or the system ends it.
class StopSignal::Listener {
public:
    explicit Listener(std::function<void()> stopCall) : stop(std::move(stopCall)) {
        const std::lock_guard lock(mutex);
        current = this;
        SetConsoleCtrlHandler(handle, TRUE);
    }

    ~Listener() {
        SetConsoleCtrlHandler(handle, FALSE);
        const std::lock_guard lock(mutex);
        current = nullptr;
    }

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    static BOOL WINAPI handle(DWORD event) {
        callOnce();
        const bool endsTheProcess = event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
        if (endsTheProcess) {
            Sleep(INFINITE);
        }
        return TRUE;
    }

    static void callOnce() {
        const std::lock_guard lock(mutex);
        if (current != nullptr && !std::exchange(current->called, true)) {
            current->stop();
        }
    }

    static std::mutex mutex;
    static Listener* current;

    std::function<void()> stop;
    bool called = false;
};

std::mutex StopSignal::Listener::mutex;
StopSignal::Listener* StopSignal::Listener::current = nullptr;

StopSignal::StopSignal(std::function<void()> stop)
    : listener(std::make_unique<Listener>(std::move(stop))) {}

StopSignal::~StopSignal() = default;

} // namespace VexaSsl::tool
