#include "common/StopSignal.h"

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

sigset_t stopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

} // namespace

// The thread that waits for the signals.
class StopSignal::Listener {
public:
    explicit Listener(std::function<void()> stop) {
        const sigset_t set = stopSignals();
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        thread = std::thread([this, stop = std::move(stop)] { wait(stop); });
    }

    ~Listener() {
        ending = true;
        pthread_kill(thread.native_handle(), SIGINT);
        thread.join();
    }

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    void wait(const std::function<void()>& stop) {
        const sigset_t set = stopSignals();
        bool called = false;
        while (true) {
            int number = 0;
            sigwait(&set, &number);
            if (ending) {
                return;
            }
            if (!std::exchange(called, true)) {
                stop();
            }
        }
    }

    std::atomic<bool> ending = false;
    std::thread thread;
};

StopSignal::StopSignal(std::function<void()> stop)
    : listener(std::make_unique<Listener>(std::move(stop))) {}

StopSignal::~StopSignal() = default;

} // namespace VexaSsl::tool
