// Waiting for events and for completion routines. A wait advances the operations it waits for.
#include "VexaPlatform/HostSockets.h"
#include "platform/linux/base/HandleTable.h"
#include "platform/linux/sockets/Deadline.h"
#include "platform/linux/sockets/Event.h"
#include "platform/linux/sockets/OperationQueue.h" // IWYU pragma: keep
#include "platform/linux/sockets/SystemErrors.h"
#include "platform/linux/sockets/WaitingThread.h"

#include <poll.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace VexaSsl::linux {

using platform::WSA_MAXIMUM_WAIT_EVENTS;
using platform::WSA_WAIT_EVENT_0;
using platform::WSA_WAIT_FAILED;
using platform::WSA_WAIT_IO_COMPLETION;
using platform::WSA_WAIT_TIMEOUT;

namespace {

using Events = std::vector<std::shared_ptr<Event>>;

// One wait of one thread. Its events wake the thread during the object's lifetime.
class EventWait {
public:
    EventWait(Events events, bool waitsForAll, bool isAlertable,
              std::shared_ptr<WaitingThread> thread)
        : events(std::move(events)), waitsForAll(waitsForAll), isAlertable(isAlertable),
          thread(std::move(thread)) {
        for (const auto& event : this->events) {
            event->addWaiter(*this->thread);
        }
    }
    EventWait(const EventWait&) = delete;
    EventWait& operator=(const EventWait&) = delete;
    ~EventWait() {
        for (const auto& event : events) {
            event->removeWaiter(*thread);
        }
    }

    // Returns as WSAWaitForMultipleEvents does.
    DWORD run(const Deadline& deadline) {
        for (;;) {
            thread->clearWakes();
            const OperationQueues queues = affectedQueues();
            for (const auto& queue : queues) {
                queue->advance();
            }
            if (const auto result = outcome()) {
                return *result;
            }
            if (deadline.hasPassed()) {
                return WSA_WAIT_TIMEOUT;
            }
            waitForChange(queues, deadline);
        }
    }

private:
    OperationQueues affectedQueues() const {
        OperationQueues queues;
        for (const auto& event : events) {
            event->appendQueues(queues);
        }
        if (isAlertable) {
            thread->appendQueues(queues);
        }
        std::sort(queues.begin(), queues.end());
        queues.erase(std::unique(queues.begin(), queues.end()), queues.end());
        return queues;
    }

    // Returns nothing while the wait continues. A set event takes precedence over a due routine.
    std::optional<DWORD> outcome() const {
        DWORD set = 0;
        for (std::size_t index = 0; index < events.size(); ++index) {
            if (events[index]->isClosed()) {
                fail(WSA_INVALID_HANDLE);
                return WSA_WAIT_FAILED;
            }
            if (!events[index]->isSet()) {
                continue;
            }
            if (!waitsForAll) {
                return WSA_WAIT_EVENT_0 + static_cast<DWORD>(index);
            }
            ++set;
        }
        if (set == events.size() && set > 0) {
            return WSA_WAIT_EVENT_0;
        }
        if (isAlertable && thread->runRoutines()) {
            return WSA_WAIT_IO_COMPLETION;
        }
        return std::nullopt;
    }

    void waitForChange(const OperationQueues& queues, const Deadline& deadline) const {
        std::vector<pollfd> entries{{thread->descriptor(), POLLIN, 0}};
        for (const auto& queue : queues) {
            queue->appendPollEntries(entries);
        }
        poll(entries.data(), entries.size(), deadline.milliseconds());
    }

    Events events;
    bool waitsForAll;
    bool isAlertable;
    std::shared_ptr<WaitingThread> thread;
};

// Returns as WSAWaitForMultipleEvents does.
DWORD waitFor(Events events, bool waitsForAll, bool isAlertable, DWORD timeoutMilliseconds) {
    auto thread = WaitingThread::current();
    if (!thread) {
        return WSA_WAIT_FAILED;
    }
    EventWait wait(std::move(events), waitsForAll, isAlertable, std::move(thread));
    return wait.run(Deadline::afterMilliseconds(timeoutMilliseconds));
}

// Returns an empty vector and sets the last error for an invalid count or handle.
Events findEvents(DWORD count, const HANDLE* handles) {
    if (count == 0 || count > WSA_MAXIMUM_WAIT_EVENTS || handles == nullptr) {
        fail(WSA_INVALID_PARAMETER);
        return {};
    }
    Events events;
    for (DWORD index = 0; index < count; ++index) {
        auto event = HandleTable<Event>::instance().find(handles[index]);
        if (!event) {
            fail(WSA_INVALID_HANDLE);
            return {};
        }
        events.push_back(std::move(event));
    }
    return events;
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

DWORD WSAWaitForMultipleEvents(DWORD count, const HANDLE* events, BOOL waitAll,
                               DWORD timeoutMilliseconds, BOOL alertable) {
    try {
        Events objects = findEvents(count, events);
        if (objects.empty()) {
            return WSA_WAIT_FAILED;
        }
        return waitFor(std::move(objects), waitAll != FALSE, alertable != FALSE,
                       timeoutMilliseconds);
    } catch (const std::bad_alloc&) {
        fail(WSA_NOT_ENOUGH_MEMORY);
        return WSA_WAIT_FAILED;
    }
}

DWORD SleepEx(DWORD milliseconds, BOOL alertable) {
    if (alertable != FALSE) {
        const DWORD result = waitFor({}, false, true, milliseconds);
        return result == WSA_WAIT_IO_COMPLETION ? result : 0;
    }
    const Deadline deadline = Deadline::afterMilliseconds(milliseconds);
    do {
        poll(nullptr, 0, deadline.milliseconds());
    } while (!deadline.hasPassed());
    return 0;
}

} // namespace VexaSsl::platform
