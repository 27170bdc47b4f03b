#include "platform/linux/sockets/Delivery.h"

#include "platform/linux/base/HandleTable.h"
#include "platform/linux/base/LastError.h"
#include "platform/linux/sockets/Event.h"
#include "platform/linux/sockets/WaitingThread.h"

#include <atomic>
#include <memory>
#include <utility>

namespace VexaSsl::linux {

namespace {

// As on Windows, the lowest bit of the event handle suppresses the completion at the port.
constexpr ULONG_PTR skipPortBit = 1;

} // namespace

int Delivery::prepare(OVERLAPPED& overlapped,
                      LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    target = &overlapped;
    routine = completionRoutine;
    if (routine != nullptr) { // hEvent is then free for the host's use
        thread = WaitingThread::current();
        return thread ? 0 : lastErrorSlot();
    }
    const auto handle = reinterpret_cast<ULONG_PTR>(overlapped.hEvent);
    skipsPort = (handle & skipPortBit) != 0;
    reserved.emplace_back();
    if (handle == 0) {
        return 0;
    }
    event = HandleTable<Event>::instance().find(reinterpret_cast<HANDLE>(handle & ~skipPortBit));
    return event ? 0 : WSA_INVALID_HANDLE;
}

Delivery::~Delivery() {
    if (isWatched && event) {
        event->unwatch(this);
    }
    if (isWatched && thread) {
        thread->unwatch(this);
    }
}

void Delivery::setResultPointers(DWORD* transferred, DWORD* flags) noexcept {
    transferredPointer = transferred;
    flagsPointer = flags;
}

void Delivery::storeResults(const TransferResult& result) const noexcept {
    if (transferredPointer != nullptr) {
        *transferredPointer = static_cast<DWORD>(result.bytes);
    }
    if (flagsPointer != nullptr) {
        *flagsPointer = 0; // a stream has none to return
    }
}

void Delivery::begin() {
    std::atomic_ref(target->InternalHigh).store(0, std::memory_order_relaxed);
    std::atomic_ref(target->Internal).store(statusPending, std::memory_order_release);
    if (event) {
        event->reset();
    }
}

void Delivery::watch(const std::shared_ptr<OperationQueue>& queue) {
    if (event) {
        event->watch(this, queue);
    }
    if (thread) {
        thread->watch(this, queue);
    }
    isWatched = true;
}

void Delivery::record(const TransferResult& result) noexcept {
    std::atomic_ref(target->InternalHigh).store(result.bytes, std::memory_order_relaxed);
    std::atomic_ref(target->Internal)
        .store(static_cast<ULONG_PTR>(result.error), std::memory_order_release);
}

void Delivery::finish(const TransferResult& result, const PortBinding& binding) {
    record(result); // from here on target may be dangling and is not dereferenced
    const auto bytes = static_cast<DWORD>(result.bytes);
    if (routine != nullptr) {
        thread->addRoutine({routine, static_cast<DWORD>(result.error), bytes, target});
        return;
    }
    if (event) {
        event->set();
    }
    if (binding.port && !skipsPort) {
        reserved.front() = {target, binding.key, bytes, result.error};
        binding.port->push(std::move(reserved));
    }
}

OverlappedStatus statusOf(OVERLAPPED& overlapped) noexcept {
    const ULONG_PTR status = std::atomic_ref(overlapped.Internal).load(std::memory_order_acquire);
    const ULONG_PTR bytes =
        std::atomic_ref(overlapped.InternalHigh).load(std::memory_order_relaxed);
    return {status == statusPending, static_cast<int>(status), static_cast<DWORD>(bytes)};
}

} // namespace VexaSsl::linux
