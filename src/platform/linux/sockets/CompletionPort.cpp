#include "platform/linux/sockets/CompletionPort.h"

#include "VexaPlatform/HostSockets.h"
#include "platform/linux/base/HandleTable.h"
#include "platform/linux/sockets/OperationQueue.h" // IWYU pragma: keep
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <utility>

namespace VexaSsl::linux {

using platform::WSA_WAIT_TIMEOUT;

namespace {

constexpr std::uint64_t wakeToken = ~std::uint64_t{0};
constexpr unsigned int watchedBits = 32;

std::uint64_t tokenOf(int owner, int watched) {
    return std::uint64_t{static_cast<std::uint32_t>(owner)} << watchedBits |
           static_cast<std::uint32_t>(watched);
}

} // namespace

std::shared_ptr<CompletionPort> CompletionPort::create() {
    Descriptor epollDescriptor(epoll_create1(EPOLL_CLOEXEC));
    Descriptor wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    epoll_event wakeEvent{};
    wakeEvent.events = EPOLLIN;
    wakeEvent.data.u64 = wakeToken;
    if (!epollDescriptor || !wakeDescriptor ||
        epoll_ctl(epollDescriptor.get(), EPOLL_CTL_ADD, wakeDescriptor.get(), &wakeEvent) != 0) {
        failWithErrno();
        return nullptr;
    }
    return std::make_shared<CompletionPort>(std::move(epollDescriptor), std::move(wakeDescriptor));
}

void CompletionPort::push(Completions added) noexcept {
    const std::lock_guard lock(mutex);
    if (closed) {
        return;
    }
    completions.splice(completions.end(), added);
    if (waiting > 0 && !signalled) {
        signalled = true;
        makeReadable(wakeDescriptor.get());
    }
}

void CompletionPort::close() {
    const std::lock_guard lock(mutex);
    closed = true;
    completions.clear();
    makeReadable(wakeDescriptor.get()); // stays readable, so every waiting thread returns
}

bool CompletionPort::takeQueued(Completion& completion, int& outcome) {
    const std::lock_guard lock(mutex);
    if (closed) {
        outcome = WSA_INVALID_HANDLE;
        return true;
    }
    if (completions.empty()) {
        ++waiting;
        return false;
    }
    completion = completions.front();
    completions.pop_front();
    if (completions.empty() && signalled) {
        eventfd_t count = 0;
        eventfd_read(wakeDescriptor.get(), &count);
        signalled = false;
    }
    outcome = 0;
    return true;
}

int CompletionPort::take(Completion& completion, const Deadline& deadline) {
    int outcome = 0;
    bool hasTimedOut = false;
    while (!takeQueued(completion, outcome)) {
        const bool anyReady = !hasTimedOut && advanceReadySockets(deadline);
        {
            const std::lock_guard lock(mutex);
            --waiting;
        }
        if (hasTimedOut) {
            return WSA_WAIT_TIMEOUT;
        }
        hasTimedOut = !anyReady && deadline.hasPassed(); // then checks the queue a last time
    }
    return outcome;
}

bool CompletionPort::advanceReadySockets(const Deadline& deadline) {
    epoll_event ready[8];
    const int count = epoll_wait(epollDescriptor.get(), ready, static_cast<int>(std::size(ready)),
                                 deadline.milliseconds());
    if (count <= 0) {
        return false; // the deadline or a signal
    }
    for (const epoll_event& entry : std::span(ready, static_cast<std::size_t>(count))) {
        if (entry.data.u64 == wakeToken) {
            continue;
        }
        const int owner = static_cast<int>(entry.data.u64 >> watchedBits);
        if (const auto queue = SocketRegistry::instance().find(owner)) {
            queue->advanceReady(*this,
                                static_cast<int>(static_cast<std::uint32_t>(entry.data.u64)));
        }
    }
    return true;
}

bool CompletionPort::watch(int owner, int watched, short pollEvents) noexcept {
    epoll_event entry{};
    entry.events = static_cast<std::uint32_t>(pollEvents) | EPOLLONESHOT;
    entry.data.u64 = tokenOf(owner, watched);
    return epoll_ctl(epollDescriptor.get(), EPOLL_CTL_MOD, watched, &entry) == 0 ||
           epoll_ctl(epollDescriptor.get(), EPOLL_CTL_ADD, watched, &entry) == 0;
}

void CompletionPort::unwatch(int watched) noexcept {
    epoll_event entry{};
    epoll_ctl(epollDescriptor.get(), EPOLL_CTL_DEL, watched, &entry);
}

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

namespace {

using PortTable = HandleTable<CompletionPort>;

HANDLE failWithNull(int error) {
    fail(error);
    return nullptr;
}

HANDLE bindTo(const std::shared_ptr<CompletionPort>& port, HANDLE handle, HANDLE file,
              ULONG_PTR key) {
    const int fd = descriptorOf(reinterpret_cast<SOCKET>(file));
    const auto queue = SocketRegistry::instance().findOrCreate(fd);
    if (!queue) {
        return failWithNull(WSA_INVALID_HANDLE);
    }
    return queue->bind({port, key}) ? handle : failWithNull(WSA_INVALID_PARAMETER);
}

} // namespace

HANDLE CreateIoCompletionPort(HANDLE file, HANDLE existingPort, ULONG_PTR completionKey, DWORD) {
    const bool isForSocket = file != invalidHandle();
    if (existingPort != noHandle) {
        const auto port = PortTable::instance().find(existingPort);
        if (!port) {
            return failWithNull(WSA_INVALID_HANDLE);
        }
        return isForSocket ? bindTo(port, existingPort, file, completionKey)
                           : failWithNull(WSA_INVALID_PARAMETER);
    }
    const auto port = CompletionPort::create();
    if (!port) {
        return nullptr;
    }
    const HANDLE handle = PortTable::instance().add(port);
    if (isForSocket && bindTo(port, handle, file, completionKey) == nullptr) {
        PortTable::instance().take(handle);
        return nullptr;
    }
    return handle;
}

BOOL GetQueuedCompletionStatus(HANDLE port, DWORD* transferred, ULONG_PTR* completionKey,
                               OVERLAPPED** overlapped, DWORD timeoutMilliseconds) {
    if (transferred == nullptr || completionKey == nullptr || overlapped == nullptr) {
        fail(WSA_INVALID_PARAMETER);
        return FALSE;
    }
    *overlapped = nullptr;
    const auto object = PortTable::instance().find(port);
    Completion completion;
    const int outcome =
        object ? object->take(completion, Deadline::afterMilliseconds(timeoutMilliseconds))
               : WSA_INVALID_HANDLE;
    if (outcome != 0) {
        fail(outcome);
        return FALSE;
    }
    *transferred = completion.transferred;
    *completionKey = completion.key;
    *overlapped = completion.overlapped;
    if (completion.error != 0) {
        fail(completion.error);
        return FALSE;
    }
    return TRUE;
}

BOOL PostQueuedCompletionStatus(HANDLE port, DWORD transferred, ULONG_PTR completionKey,
                                OVERLAPPED* overlapped) {
    const auto object = PortTable::instance().find(port);
    if (!object) {
        fail(WSA_INVALID_HANDLE);
        return FALSE;
    }
    try {
        object->push({{overlapped, completionKey, transferred, 0}});
        return TRUE;
    } catch (const std::bad_alloc&) {
        fail(WSA_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

BOOL CloseHandle(HANDLE port) {
    const auto object = PortTable::instance().take(port);
    if (!object) {
        fail(WSA_INVALID_HANDLE);
        return FALSE;
    }
    object->close();
    return TRUE;
}

} // namespace VexaSsl::platform
