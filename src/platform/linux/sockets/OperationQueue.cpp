#include "platform/linux/sockets/OperationQueue.h"

#include "platform/linux/sockets/CompletionPort.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/WaitingThread.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace VexaSsl::linux {

namespace {

constexpr TransferResult aborted{WSA_OPERATION_ABORTED, 0};
// For an operation that the completion port can't watch, and that would stay pending forever.
constexpr TransferResult watchFailed{WSAENOBUFS, 0};

} // namespace

std::optional<TransferResult> OperationQueue::post(std::unique_ptr<Operation> operation) {
    const std::lock_guard lock(mutex);
    return postLocked(std::move(operation));
}

std::optional<TransferResult>
OperationQueue::postAccept(std::unique_ptr<AcceptOperation> operation,
                           std::shared_ptr<OperationQueue> acceptQueue) {
    const std::lock_guard lock(mutex);
    if (const int error = acceptQueue->reserve(shared_from_this())) {
        return TransferResult{error, 0};
    }
    operation->setAcceptQueue(std::move(acceptQueue));
    return postLocked(std::move(operation));
}

std::optional<TransferResult> OperationQueue::postLocked(std::unique_ptr<Operation> operation) {
    if (isClosed) {
        return TransferResult{WSAENOTSOCK, 0};
    }
    if (operation->delivery.hasRoutine() && binding.port) {
        return TransferResult{WSAEINVAL, 0};
    }
    operation->delivery.begin();
    advanceQueued();
    if (queued.empty()) {
        if (const auto result = operation->attempt(fd)) {
            if (result->error != 0) {
                operation->delivery.record(*result);
            } else {
                operation->delivery.storeResults(*result);
                finish(std::move(operation), *result);
            }
            return result;
        }
    }
    operation->delivery.watch(shared_from_this());
    enqueue(std::move(operation));
    waiters.wakeAll();
    return std::nullopt;
}

void OperationQueue::deliver(Delivery& delivery, const TransferResult& result) {
    const std::lock_guard lock(mutex);
    delivery.storeResults(result);
    delivery.finish(result, binding);
}

void OperationQueue::enqueue(std::unique_ptr<Operation> operation) {
    const pollfd entry = operation->pollEntry(fd);
    if (entry.fd == fd) {
        queued.push_back(std::move(operation));
        armQueued();
        return;
    }
    awaitingData[entry.fd] = std::move(operation);
    armAwaitingData(entry.fd);
}

void OperationQueue::finish(std::unique_ptr<Operation> operation, const TransferResult& result) {
    operation->delivery.finish(result, binding);
    waiters.wakeAll();
}

void OperationQueue::advanceQueued() {
    while (!queued.empty()) {
        const auto result = queued.front()->attempt(fd);
        if (!result && queued.front()->pollEntry(fd).fd == fd) {
            return;
        }
        auto operation = std::move(queued.front());
        queued.pop_front();
        if (result) {
            finish(std::move(operation), *result);
        } else {
            enqueue(std::move(operation));
        }
    }
}

void OperationQueue::advanceAwaitingData(int watched) {
    const auto found = awaitingData.find(watched);
    if (found == awaitingData.end()) {
        return;
    }
    if (const auto result = found->second->attempt(fd)) {
        finish(std::move(awaitingData.extract(found).mapped()), *result);
    } else {
        armAwaitingData(watched);
    }
}

void OperationQueue::armQueued() {
    while (binding.port && !queued.empty()) {
        const short events = queued.front()->pollEntry(fd).events;
        if (armedEvents == events || binding.port->watch(fd, fd, events)) {
            armedEvents = events;
            return;
        }
        auto operation = std::move(queued.front());
        queued.pop_front();
        finish(std::move(operation), watchFailed);
    }
}

void OperationQueue::armAwaitingData(int watched) {
    const auto found = awaitingData.find(watched);
    if (binding.port && !binding.port->watch(fd, watched, found->second->pollEntry(fd).events)) {
        finish(std::move(awaitingData.extract(found).mapped()), watchFailed);
    }
}

void OperationQueue::advance() {
    const std::lock_guard lock(mutex);
    advanceQueued();
    armQueued();
    for (auto next = awaitingData.begin(); next != awaitingData.end();) {
        advanceAwaitingData((next++)->first);
    }
}

void OperationQueue::advanceReady(const CompletionPort& port, int watched) {
    const std::lock_guard lock(mutex);
    if (binding.port.get() != &port) {
        return; // the event was for an earlier socket with this descriptor
    }
    if (watched != fd) {
        advanceAwaitingData(watched);
        return;
    }
    armedEvents = 0;
    advanceQueued();
    armQueued();
}

bool OperationQueue::bind(PortBinding portBinding) {
    const std::lock_guard lock(mutex);
    if (isClosed || binding.port) {
        return false;
    }
    binding = std::move(portBinding);
    armQueued();
    for (auto next = awaitingData.begin(); next != awaitingData.end();) {
        armAwaitingData((next++)->first);
    }
    return true;
}

bool OperationQueue::isBound() const {
    const std::lock_guard lock(mutex);
    return binding.port != nullptr;
}

void OperationQueue::abortIf(const std::function<bool(const Operation&)>& matches) {
    for (Operations remaining = std::exchange(queued, {}); !remaining.empty();
         remaining.pop_front()) {
        auto& operation = remaining.front();
        if (matches(*operation)) {
            finish(std::move(operation), aborted);
        } else {
            queued.push_back(std::move(operation));
        }
    }
    for (auto next = awaitingData.begin(); next != awaitingData.end();) {
        const auto current = next++;
        if (matches(*current->second)) {
            finish(std::move(awaitingData.extract(current).mapped()), aborted);
        }
    }
}

void OperationQueue::close() {
    std::shared_ptr<OperationQueue> listener;
    {
        const std::lock_guard lock(mutex);
        isClosed = true;
        abortIf([](const Operation&) { return true; });
        if (binding.port) {
            binding.port->unwatch(fd);
        }
        listener = acceptingListener.lock();
    }
    if (listener) {
        listener->abortAcceptsInto(fd);
    }
}

void OperationQueue::abortAcceptsInto(int acceptSocket) {
    const std::lock_guard lock(mutex);
    abortIf(
        [acceptSocket](const Operation& operation) { return operation.acceptsInto(acceptSocket); });
}

void OperationQueue::abortRoutinesOf(const WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    abortIf([&thread](const Operation& operation) { return operation.delivery.isFor(thread); });
}

bool OperationQueue::contains(const OVERLAPPED* overlapped) const {
    const std::lock_guard lock(mutex);
    for (const auto& operation : queued) {
        if (operation->delivery.isFor(overlapped)) {
            return true;
        }
    }
    for (const auto& [watched, operation] : awaitingData) {
        if (operation->delivery.isFor(overlapped)) {
            return true;
        }
    }
    return false;
}

void OperationQueue::appendPollEntries(std::vector<pollfd>& entries) const {
    const std::lock_guard lock(mutex);
    if (!queued.empty()) {
        entries.push_back(queued.front()->pollEntry(fd));
    }
    for (const auto& [watched, operation] : awaitingData) {
        entries.push_back(operation->pollEntry(fd));
    }
}

void OperationQueue::addWaiter(WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    waiters.add(thread);
}

void OperationQueue::removeWaiter(WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    waiters.remove(thread);
}

bool OperationQueue::isNonBlocking() const {
    const std::lock_guard lock(mutex);
    return linux::isNonBlocking(fd);
}

int OperationQueue::reserve(const std::shared_ptr<OperationQueue>& listener) {
    const std::lock_guard lock(mutex);
    if (isClosed) {
        return WSAENOTSOCK;
    }
    if (!acceptingListener.expired() || !queued.empty()) {
        return WSAEINVAL;
    }
    acceptingListener = listener;
    return 0;
}

void OperationQueue::endReservation() {
    const std::lock_guard lock(mutex);
    acceptingListener.reset();
}

void OperationQueue::descriptorWasReplaced() {
    const std::lock_guard lock(mutex);
    armedEvents = 0; // the port's watch has ended with the old socket
}

} // namespace VexaSsl::linux
