// The operations that may be overlapped. With an OVERLAPPED structure they use the socket's
// operation queue, otherwise the blocking call.
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

void store(DWORD* variable, std::uint64_t value) {
    if (variable != nullptr) {
        *variable = static_cast<DWORD>(value);
    }
}

// Returns the result of the Winsock call. After a success the caller's variables are already set.
int postResult(const std::optional<TransferResult>& result) {
    if (!result) {
        return fail(WSA_IO_PENDING);
    }
    return result->error != 0 ? fail(result->error) : 0;
}

int postReceive(int fd, std::vector<iovec> buffers, DWORD* bytesReceived, DWORD* flags,
                OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    const auto queue = SocketRegistry::instance().findOrCreate(fd);
    if (!queue) {
        return fail(WSAENOTSOCK);
    }
    auto operation = std::make_unique<ReceiveOperation>(std::move(buffers), *flags);
    if (const int error = operation->delivery.prepare(overlapped, routine)) {
        return fail(error);
    }
    operation->delivery.setResultPointers(bytesReceived, flags);
    return postResult(queue->post(std::move(operation)));
}

// Sends everything, blocking if necessary, and then delivers the completion.
int sendAndDeliver(int fd, std::span<iovec> buffers, DWORD* bytesSent, DWORD flags,
                   OVERLAPPED& overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    const auto queue = SocketRegistry::instance().findOrCreate(fd);
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
    const TransferResult result = sendFrom(fd, buffers, flags, Blocking::always);
    if (result.error != 0) {
        delivery.record(result);
        return fail(result.error);
    }
    delivery.setResultPointers(bytesSent, nullptr);
    queue->deliver(delivery, result);
    return 0;
}

// Checks the arguments of AcceptEx, except the accept socket's pending operations. Returns 0 or a
// Winsock error code.
int acceptArgumentError(int listener, int acceptSocket, const AcceptBuffer& output) {
    constexpr DWORD addressMargin = 16; // Winsock's, in addition to the largest address
    sockaddr_storage address;
    socklen_t length = sizeof(address);
    int isListening = 0;
    socklen_t optionSize = sizeof(isListening);
    if (!isSocket(acceptSocket) ||
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
        getpeername(acceptSocket, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    return isListening == 0 || isConnected || listener == acceptSocket ? WSAEINVAL : 0;
}

int postAccept(int listener, int acceptSocket, const AcceptBuffer& output, DWORD* bytesReceived,
               OVERLAPPED& overlapped) {
    const auto queue = SocketRegistry::instance().findOrCreate(listener);
    auto acceptQueue = SocketRegistry::instance().findOrCreate(acceptSocket);
    if (!queue || !acceptQueue) {
        return fail(WSAENOTSOCK);
    }
    auto operation = std::make_unique<AcceptOperation>(acceptSocket, output);
    if (const int error = operation->delivery.prepare(overlapped, nullptr)) {
        return fail(error);
    }
    operation->delivery.setResultPointers(bytesReceived, nullptr);
    return postResult(queue->postAccept(std::move(operation), std::move(acceptQueue)));
}

// A wait for one operation. The queue wakes the thread during the object's lifetime.
class QueueWait {
public:
    QueueWait(OperationQueue& queue, WaitingThread& thread) : queue(queue), thread(thread) {
        queue.addWaiter(thread);
    }
    QueueWait(const QueueWait&) = delete;
    QueueWait& operator=(const QueueWait&) = delete;
    ~QueueWait() { queue.removeWaiter(thread); }

    // Advances the queue until the operation is no longer in it.
    void run(const OVERLAPPED* overlapped) {
        for (;;) {
            thread.clearWakes();
            queue.advance();
            if (!queue.contains(overlapped)) {
                return;
            }
            std::vector<pollfd> entries{{thread.descriptor(), POLLIN, 0}};
            queue.appendPollEntries(entries);
            poll(entries.data(), entries.size(), -1);
        }
    }

private:
    OperationQueue& queue;
    WaitingThread& thread;
};

// Returns false and sets the last error when the thread can't wait.
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
    if (!areValidReceiveFlags(*flags)) {
        return failArgument(fd, WSAEOPNOTSUPP);
    }
    std::vector<iovec> copy;
    if (const int error = copyBuffers(buffers, bufferCount, copy)) {
        return failArgument(fd, error);
    }
    if (overlapped == nullptr) { // a routine alone is ignored
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
    if (!areValidSendFlags(flags)) {
        return failArgument(fd, WSAEOPNOTSUPP);
    }
    std::vector<iovec> copy;
    if (const int error = copyBuffers(buffers, bufferCount, copy)) {
        return failArgument(fd, error);
    }
    if (overlapped == nullptr) {
        const TransferResult result = sendFrom(fd, copy, flags, Blocking::asSocket);
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
    const int acceptDescriptor = descriptorOf(acceptSocket);
    if (overlapped == nullptr) {
        failArgument(listener, WSA_INVALID_PARAMETER);
        return FALSE;
    }
    const AcceptBuffer output{static_cast<char*>(outputBuffer), receiveDataLength,
                              localAddressLength, remoteAddressLength};
    if (const int error = acceptArgumentError(listener, acceptDescriptor, output)) {
        fail(error);
        return FALSE;
    }
    try {
        return postAccept(listener, acceptDescriptor, output, bytesReceived, *overlapped) == 0
                   ? TRUE
                   : FALSE;
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
        if (status.isPending) { // after a wait: the operation isn't one on s
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
