// Threads that run one task each and end with it.
//
// Threads: any may start a task, except those that run one.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace VexaSsl::tool {

class TaskThreads {
public:
    TaskThreads() = default;
    // Waits for the tasks.
    ~TaskThreads();
    TaskThreads(const TaskThreads&) = delete;
    TaskThreads& operator=(const TaskThreads&) = delete;

    // Runs the task, which must not throw. Throws std::system_error when no thread can be made, or
    // std::bad_alloc.
    void start(std::function<void()> task);

private:
    using Threads = std::list<std::jthread>;

    void retire(Threads::iterator thread);

    std::mutex mutex;
    std::condition_variable changed;
    Threads running;
    Threads ended; // or about to end; joined when destroyed
};

} // namespace VexaSsl::tool
