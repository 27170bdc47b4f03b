#include "StopSignal.h"

#include <csignal>
#include <pthread.h>
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

StopSignal::StopSignal(std::function<void()> stop) {
    const sigset_t set = stopSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    thread = std::thread([this, stop = std::move(stop)] { wait(stop); });
}

StopSignal::~StopSignal() {
    ending = true;
    pthread_kill(thread.native_handle(), SIGINT);
    thread.join();
}

void StopSignal::wait(const std::function<void()>& stop) {
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

} // namespace VexaSsl::tool
