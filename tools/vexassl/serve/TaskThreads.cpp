#include "serve/TaskThreads.h"

#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

TaskThreads::~TaskThreads() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return running.empty(); });
}

void TaskThreads::start(std::function<void()> task) {
    const std::lock_guard lock(mutex); // a short task must not retire before it is stored
    ended.clear();
    Threads started(1);
    const auto thread = started.begin();
    *thread = std::jthread([this, thread, task = std::move(task)] {
        task();
        retire(thread);
    });
    running.splice(running.end(), started);
}

void TaskThreads::retire(Threads::iterator thread) {
    const std::lock_guard lock(mutex);
    ended.splice(ended.end(), running, thread);
    changed.notify_one();
}

} // namespace VexaSsl::tool
