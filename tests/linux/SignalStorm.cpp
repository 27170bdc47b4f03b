#include "linux/SignalStorm.h"

#include <atomic>
#include <csignal>
#include <pthread.h>

namespace VexaSsl::test {
namespace {

std::atomic<int> signalsHandled{0};

} // namespace

SignalStorm::SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsHandled; };
    sigaction(SIGUSR1, &action, nullptr); // no SA_RESTART
    signalsHandled = 0;
    sender = std::jthread([target = pthread_self()](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pthread_kill(target, SIGUSR1);
        }
    });
}

SignalStorm::~SignalStorm() {
    sender.request_stop();
    sender.join();
}

int SignalStorm::delivered() {
    return signalsHandled;
}

} // namespace VexaSsl::test
