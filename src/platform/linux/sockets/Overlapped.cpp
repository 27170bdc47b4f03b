// The operations that may be overlapped: the plain call when they aren't, the queue of the socket
// when they are.
#include "VexaPlatform/HostSockets.h"
#include "platform/contract/Winsock.h"
#include "platform/linux/sockets/OperationQueue.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketRegistry.h"
#include "platform/linux/sockets/SystemErrors.h"
#include "platform/linux/sockets/WaitingThread.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace VexaSsl::linux {

namespace {

// Winsock checks the socket before the other arguments.
int failArgument(int fd, int argumentError) {
    return fail(isSocket(fd) ? argumentError : WSAENOTSOCK);
}

void store(DWORD* place, std::uint64_t value) {
    if (place != nullptr) {
        *place = static_cast<DWORD>(value);
    }
}

// What a posted operation returns; of a success the caller's variables tell already.
int postResult(const std::optional<TransferResult>& result) {
    if (!result) {
        return fail(WSA_IO_PENDING);
    }
    return result->error != 0 ? fail(result->error) : 0;
}

int postReceive(int fd, std::vector<iovec> buffers, DWORD* bytesReceived, DWORD* flags,
                OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    const auto queue = SocketRegistry::instance().obtain(fd);
    if (!queue) {
        return fail(WSAENOTSOCK);
    }
    auto operation = std::make_unique<ReceiveOperation>(std::move(buffers), *flags);
    if (const int error = operation->delivery.prepare(overlapped, routine)) {
        return fail(error);
    }
    operation->delivery.setAnswerPlaces(bytesReceived, flags);
    return postResult(queue->post(std::move(operation)));
}

// A send is done at once, whatever it takes, and its completion follows.
int sendAndDeliver(int fd, std::span<iovec> buffers, DWORD* bytesSent, DWORD flags,
                   OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    const auto queue = SocketRegistry::instance().obtain(fd);
    if (!queue) {
        return fail(WSAENOTSOCK);
    }
    if (routine != nullptr && queue->isBound()) {
        return fail(WSAEINVAL);
    }
    Delivery delivery;
    if (const int error = delivery.prepare(overlapped, routine)) {
        return fail(error);
    }
    delivery.begin();
    const TransferResult result = sendFrom(fd, buffers, flags, Waiting::always);
    if (result.error != 0) {
        delivery.record(result);
        return fail(result.error);
    }
    delivery.setAnswerPlaces(bytesSent, nullptr);
    queue->deliver(delivery, result);
    return 0;
}

// Result: 0 or what is wrong with the arguments of AcceptEx, apart from the accept socket's state.
int acceptArgumentError(int listener, int place, const AcceptBuffer& output) {
    constexpr DWORD addressMargin = 16; // beyond the largest address, as Winsock asks for
    sockaddr_storage address;
    socklen_t length = sizeof(address);
    int isListening = 0;
    socklen_t optionSize = sizeof(isListening);
    if (!isSocket(place) ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        getsockopt(listener, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &optionSize) != 0) {
        return WSAENOTSOCK;
    }
    if (output.memory == nullptr || output.localLength < length + addressMargin ||
        output.remoteLength < length + addressMargin) {
        return WSAEFAULT;
    }
    length = sizeof(address);
    const bool isConnected =
        getpeername(place, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    return isListening == 0 || isConnected || listener == place ? WSAEINVAL : 0;
}

int postAccept(int listener, int place, const AcceptBuffer& output, DWORD* bytesReceived,
               OVERLAPPED& overlapped) {
    const auto queue = SocketRegistry::instance().obtain(listener);
    auto acceptQueue = SocketRegistry::instance().obtain(place);
    if (!queue || !acceptQueue) {
        return fail(WSAENOTSOCK);
    }
    auto operation = std::make_unique<AcceptOperation>(place, output);
    if (const int error = operation->delivery.prepare(overlapped, nullptr)) {
        return fail(error);
    }
    operation->delivery.setAnswerPlaces(bytesReceived, nullptr);
    return postResult(queue->postAccept(std::move(operation), std::move(acceptQueue)));
}

// A thread among those that a queue wakes, for the lifetime of this object.
class QueueWait {
public:
    QueueWait(OperationQueue& waitedFor, WaitingThread& waitingThread)
        : queue(waitedFor), thread(waitingThread) {
        queue.addWaiter(thread);
    }
    QueueWait(const QueueWait&) = delete;
    QueueWait& operator=(const QueueWait&) = delete;
    ~QueueWait() { queue.removeWaiter(thread); }

    // Moves the queue on until the operation isn't in it any more.
    void run(const OVERLAPPED* overlapped) {
        for (;;) {
            thread.clearWakes();
            queue.advance();
            if (!queue.has(overlapped)) {
                return;
            }
            std::vector<pollfd> entries{{thread.descriptor(), POLLIN, 0}};
            queue.appendAwaited(entries);
            poll(entries.data(), entries.size(), -1);
        }
    }

private:
    OperationQueue& queue;
    WaitingThread& thread;
};

// Result: false with the cause in the last-error slot when the thread can't wait.
bool waitFor(OperationQueue& queue, const OVERLAPPED* overlapped) {
    const auto thread = WaitingThread::current();
    if (!thread) {
        return false;
    }
    QueueWait(queue, *thread).run(overlapped);
    return true;
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    const int fd = descriptorOf(s);
    if (flags == nullptr || (bytesReceived == nullptr && overlapped == nullptr)) {
        return failArgument(fd, WSAEFAULT);
    }
    if (!areReceiveFlags(*flags)) {
        return failArgument(fd, WSAEOPNOTSUPP);
    }
    std::vector<iovec> copy;
    if (const int error = copyBuffers(buffers, bufferCount, copy)) {
        return failArgument(fd, error);
    }
    if (overlapped == nullptr) { // nothing to hand to a routine, either
        const TransferResult result = receiveInto(fd, copy, *flags);
        if (result.error != 0) {
            return fail(result.error);
        }
        *flags = 0;
        store(bytesReceived, result.bytes);
        return 0;
    }
    try {
        return postReceive(fd, std::move(copy), bytesReceived, flags, *overlapped,
                           completionRoutine);
    } catch (const std::bad_alloc&) {
        return fail(WSAENOBUFS);
    }
}

int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    const int fd = descriptorOf(s);
    if (bytesSent == nullptr && overlapped == nullptr) {
        return failArgument(fd, WSAEFAULT);
    }
    if (!areSendFlags(flags)) {
        return failArgument(fd, WSAEOPNOTSUPP);
    }
    std::vector<iovec> copy;
    if (const int error = copyBuffers(buffers, bufferCount, copy)) {
        return failArgument(fd, error);
    }
    if (overlapped == nullptr) {
        const TransferResult result = sendFrom(fd, copy, flags, Waiting::asTheSocket);
        if (result.error != 0) {
            return fail(result.error);
        }
        store(bytesSent, result.bytes);
        return 0;
    }
    try {
        return sendAndDeliver(fd, copy, bytesSent, flags, *overlapped, completionRoutine);
    } catch (const std::bad_alloc&) {
        return fail(WSAENOBUFS);
    }
}

BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped) {
    const int listener = descriptorOf(listenSocket);
    const int place = descriptorOf(acceptSocket);
    if (overlapped == nullptr) {
        failArgument(listener, WSA_INVALID_PARAMETER);
        return FALSE;
    }
    const AcceptBuffer output{static_cast<char*>(outputBuffer), receiveDataLength,
                              localAddressLength, remoteAddressLength};
    if (const int error = acceptArgumentError(listener, place, output)) {
        fail(error);
        return FALSE;
    }
    try {
        return postAccept(listener, place, output, bytesReceived, *overlapped) == 0 ? TRUE : FALSE;
    } catch (const std::bad_alloc&) {
        fail(WSAENOBUFS);
        return FALSE;
    }
}

BOOL WSAGetOverlappedResult(SOCKET s, WSAOVERLAPPED* overlapped, DWORD* transferred, BOOL wait,
                            DWORD* flags) {
    if (overlapped == nullptr || transferred == nullptr) {
        fail(WSAEFAULT);
        return FALSE;
    }
    OverlappedStatus status = statusOf(*overlapped);
    if (status.isPending) {
        const auto queue = SocketRegistry::instance().find(descriptorOf(s));
        if (queue && wait != FALSE && !waitFor(*queue, overlapped)) {
            return FALSE;
        }
        if (queue && wait == FALSE) {
            queue->advance();
        }
        status = statusOf(*overlapped);
        if (status.isPending) { // with wait: it isn't an operation on s
            fail(wait != FALSE ? WSA_INVALID_PARAMETER : WSA_IO_INCOMPLETE);
            return FALSE;
        }
    }
    *transferred = status.transferred;
    store(flags, 0);
    if (status.error != 0) {
        fail(status.error);
        return FALSE;
    }
    return TRUE;
}

} // namespace VexaSsl::platform
