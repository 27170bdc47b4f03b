#include "platform/linux/sockets/Event.h"

#include "VexaPlatform/HostSockets.h"
#include "platform/linux/base/HandleTable.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace VexaSsl::linux {

void Event::set() {
    const std::lock_guard lock(mutex);
    signalled = true;
    waiters.wakeAll();
}

void Event::reset() {
    const std::lock_guard lock(mutex);
    signalled = false;
}

bool Event::isSet() const {
    const std::lock_guard lock(mutex);
    return signalled;
}

void Event::close() {
    const std::lock_guard lock(mutex);
    closed = true;
    waiters.wakeAll();
}

bool Event::isClosed() const {
    const std::lock_guard lock(mutex);
    return closed;
}

void Event::watch(const Delivery* delivery, std::shared_ptr<OperationQueue> queue) {
    const std::lock_guard lock(mutex);
    operations.add(delivery, std::move(queue));
    waiters.wakeAll();
}

void Event::unwatch(const Delivery* delivery) {
    const std::lock_guard lock(mutex);
    operations.remove(delivery);
}

void Event::appendQueues(OperationQueues& queues) const {
    const std::lock_guard lock(mutex);
    operations.appendQueues(queues);
}

void Event::addWaiter(WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    waiters.add(thread);
}

void Event::removeWaiter(WaitingThread& thread) {
    const std::lock_guard lock(mutex);
    waiters.remove(thread);
}

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

namespace {

using EventTable = HandleTable<Event>;

BOOL failWithInvalidHandle() {
    fail(WSA_INVALID_HANDLE);
    return FALSE;
}

} // namespace

HANDLE WSACreateEvent() {
    try {
        return EventTable::instance().add(std::make_shared<Event>());
    } catch (const std::bad_alloc&) {
        fail(WSA_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

BOOL WSACloseEvent(HANDLE event) {
    const auto object = EventTable::instance().take(event);
    if (!object) {
        return failWithInvalidHandle();
    }
    object->close();
    return TRUE;
}

BOOL WSASetEvent(HANDLE event) {
    const auto object = EventTable::instance().find(event);
    if (!object) {
        return failWithInvalidHandle();
    }
    object->set();
    return TRUE;
}

BOOL WSAResetEvent(HANDLE event) {
    const auto object = EventTable::instance().find(event);
    if (!object) {
        return failWithInvalidHandle();
    }
    object->reset();
    return TRUE;
}

} // namespace VexaSsl::platform
