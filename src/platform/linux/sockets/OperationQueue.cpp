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
// Of an operation that the completion port can't watch: it would stay pending for ever.
constexpr TransferResult unwatched{WSAENOBUFS, 0};

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
    operation->hold(std::move(acceptQueue));
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
    advanceLine();
    if (line.empty()) {
        if (const auto result = operation->attempt(fd)) {
            if (result->error != 0) {
                operation->delivery.record(*result);
            } else {
                operation->delivery.answerCaller(*result);
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
    delivery.answerCaller(result);
    delivery.finish(result, binding);
}

void OperationQueue::enqueue(std::unique_ptr<Operation> operation) {
    const pollfd awaited = operation->awaited(fd);
    if (awaited.fd == fd) {
        line.push_back(std::move(operation));
        armLine();
        return;
    }
    aside[awaited.fd] = std::move(operation);
    armAside(awaited.fd);
}

void OperationQueue::finish(std::unique_ptr<Operation> operation, const TransferResult& result) {
    operation->delivery.finish(result, binding);
    waiters.wakeAll();
}

void OperationQueue::advanceLine() {
    while (!line.empty()) {
        const auto result = line.front()->attempt(fd);
        if (!result && line.front()->awaited(fd).fd == fd) {
            return;
        }
        auto operation = std::move(line.front());
        line.pop_front();
        if (result) {
            finish(std::move(operation), *result);
        } else {
            enqueue(std::move(operation));
        }
    }
}

void OperationQueue::advanceAside(int watched) {
    const auto found = aside.find(watched);
    if (found == aside.end()) {
        return;
    }
    if (const auto result = found->second->attempt(fd)) {
        finish(std::move(aside.extract(found).mapped()), *result);
    } else {
        armAside(watched);
    }
}

void OperationQueue::armLine() {
    while (binding.port && !line.empty()) {
        const short events = line.front()->awaited(fd).events;
        if (armedEvents == events || binding.port->watch(fd, fd, events)) {
            armedEvents = events;
            return;
        }
        auto operation = std::move(line.front());
        line.pop_front();
        finish(std::move(operation), unwatched);
    }
}

void OperationQueue::armAside(int watched) {
    const auto found = aside.find(watched);
    if (binding.port && !binding.port->watch(fd, watched, found->second->awaited(fd).events)) {
        finish(std::move(aside.extract(found).mapped()), unwatched);
    }
}

void OperationQueue::advance() {
    const std::lock_guard lock(mutex);
    advanceLine();
    armLine();
    for (auto next = aside.begin(); next != aside.end();) {
        advanceAside((next++)->first);
    }
}

void OperationQueue::serve(const CompletionPort& port, int watched) {
    const std::lock_guard lock(mutex);
    if (binding.port.get() != &port) {
        return; // an old message about a descriptor that is another socket now
    }
    if (watched != fd) {
        advanceAside(watched);
        return;
    }
    armedEvents = 0;
    advanceLine();
    armLine();
}

bool OperationQueue::bind(PortBinding newBinding) {
    const std::lock_guard lock(mutex);
    if (isClosed || binding.port) {
        return false;
    }
    binding = std::move(newBinding);
    armLine();
    for (auto next = aside.begin(); next != aside.end();) {
        armAside((next++)->first);
    }
    return true;
}

bool OperationQueue::isBound() const {
    const std::lock_guard lock(mutex);
    return binding.port != nullptr;
}

void OperationQueue::abortIf(const std::function<bool(const Operation&)>& isMeant) {
    for (Line remaining = std::exchange(line, {}); !remaining.empty(); remaining.pop_front()) {
        auto& operation = remaining.front();
        if (isMeant(*operation)) {
            finish(std::move(operation), aborted);
        } else {
            line.push_back(std::move(operation));
        }
    }
    for (auto next = aside.begin(); next != aside.end();) {
        const auto current = next++;
        if (isMeant(*current->second)) {
            finish(std::move(aside.extract(current).mapped()), aborted);
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
        listener = filler.lock();
    }
    if (listener) {
        listener->abortFilling(fd);
    }
}

void OperationQueue::abortFilling(int place) {
    const std::lock_guard lock(mutex);
    abortIf([place](const Operation& operation) { return operation.isFilling(place); });
}

void OperationQueue::abortRoutinesOf(const WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    abortIf([&thread](const Operation& operation) { return operation.delivery.isFor(thread); });
}

bool OperationQueue::has(const OVERLAPPED* overlapped) const {
    const std::lock_guard lock(mutex);
    for (const auto& operation : line) {
        if (operation->delivery.isFor(overlapped)) {
            return true;
        }
    }
    for (const auto& [watched, operation] : aside) {
        if (operation->delivery.isFor(overlapped)) {
            return true;
        }
    }
    return false;
}

void OperationQueue::appendAwaited(std::vector<pollfd>& entries) const {
    const std::lock_guard lock(mutex);
    if (!line.empty()) {
        entries.push_back(line.front()->awaited(fd));
    }
    for (const auto& [watched, operation] : aside) {
        entries.push_back(operation->awaited(fd));
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
    if (!filler.expired() || !line.empty()) {
        return WSAEINVAL;
    }
    filler = listener;
    return 0;
}

void OperationQueue::endReservation() {
    const std::lock_guard lock(mutex);
    filler.reset();
}

void OperationQueue::descriptorWasReplaced() {
    const std::lock_guard lock(mutex);
    armedEvents = 0; // what the port watched is gone with the old socket
}

} // namespace VexaSsl::linux
