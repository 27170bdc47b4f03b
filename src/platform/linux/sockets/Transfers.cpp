#include "platform/linux/sockets/Transfers.h"

#include "platform/contract/Winsock.h"
#include "platform/linux/sockets/BlockingCall.h"
#include "platform/linux/sockets/SocketDescriptor.h"
#include "platform/linux/sockets/SocketKind.h"
#include "platform/linux/sockets/SystemErrors.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <vector>

namespace VexaSsl::linux {

bool areReceiveFlags(DWORD flags) noexcept {
    const bool known = (flags & ~(winsockOutOfBand | winsockPeek | winsockWaitAll)) == 0;
    const bool waitsForAll = (flags & winsockWaitAll) != 0;
    return known && (!waitsForAll || flags == winsockWaitAll);
}

bool areSendFlags(DWORD flags) noexcept {
    return (flags & ~(winsockOutOfBand | winsockDontRoute)) == 0;
}

int systemFlags(DWORD flags) noexcept {
    int result = MSG_NOSIGNAL;
    result |= (flags & winsockOutOfBand) != 0 ? MSG_OOB : 0;
    result |= (flags & winsockPeek) != 0 ? MSG_PEEK : 0;
    result |= (flags & winsockDontRoute) != 0 ? MSG_DONTROUTE : 0;
    result |= (flags & winsockWaitAll) != 0 ? MSG_WAITALL : 0;
    return result;
}

void BufferCursor::advance(std::size_t bytes) noexcept {
    while (!rest.empty() && bytes >= rest.front().iov_len) {
        bytes -= rest.front().iov_len;
        rest = rest.subspan(1);
    }
    if (bytes > 0) {
        iovec& front = rest.front();
        front.iov_base = static_cast<char*>(front.iov_base) + bytes;
        front.iov_len -= bytes;
    }
}

msghdr BufferCursor::message() const noexcept {
    msghdr result{};
    result.msg_iov = rest.data();
    result.msg_iovlen = std::min<std::size_t>(rest.size(), IOV_MAX);
    return result;
}

int copyBuffers(const WSABUF* buffers, DWORD count, std::vector<iovec>& copy) noexcept {
    if (buffers == nullptr) {
        return WSAEFAULT;
    }
    if (count == 0) {
        return WSAEINVAL;
    }
    try {
        copy.reserve(count);
    } catch (const std::exception&) {
        return WSAENOBUFS;
    }
    for (const WSABUF& buffer : std::span(buffers, count)) {
        if (buffer.buf == nullptr && buffer.len != 0) {
            return WSAEFAULT;
        }
        copy.push_back({buffer.buf, buffer.len});
    }
    return 0;
}

std::uint64_t totalSize(std::span<const iovec> buffers) noexcept {
    std::uint64_t sum = 0;
    for (const iovec& buffer : buffers) {
        sum += buffer.iov_len;
    }
    return sum;
}

namespace {

// One attempt. Result: as recvmsg; error tells of what was cut off.
ssize_t attemptReceive(int fd, const BufferCursor& cursor, int flags, int& error) noexcept {
    error = 0;
    const iovec* const single = cursor.single();
    if (single != nullptr && kindOf(fd) == SocketKind::stream) { // cuts nothing off, costs less
        return ::recv(fd, single->iov_base, single->iov_len, flags);
    }
    msghdr message = cursor.message();
    const ssize_t count = recvmsg(fd, &message, flags);
    if (count >= 0 && (message.msg_flags & MSG_TRUNC) != 0) {
        error = WSAEMSGSIZE;
    }
    return count;
}

// One receive into what is left of the buffers, repeated until it has an outcome.
TransferResult receiveOnce(BlockingCall& call, int fd, const BufferCursor& cursor,
                           int flags) noexcept {
    for (;;) {
        int error = 0;
        const ssize_t count = attemptReceive(fd, cursor, flags, error);
        if (count >= 0) {
            return {error, static_cast<std::uint64_t>(count)};
        }
        if (!call.mayRetry()) {
            return {call.error(), 0};
        }
    }
}

// A pending failure must stay for the next call when this one has bytes to report: a receive would
// take it away.
bool hasPendingFailure(int fd) noexcept {
    pollfd entry{fd, 0, 0};
    return poll(&entry, 1, 0) > 0 && (entry.revents & POLLERR) != 0;
}

} // namespace

TransferResult receiveInto(int fd, std::span<iovec> buffers, DWORD flags) noexcept {
    const int bits = systemFlags(flags);
    BufferCursor cursor(buffers);
    BlockingCall call(fd, Direction::receive);
    TransferResult result = receiveOnce(call, fd, cursor, bits);
    if ((flags & winsockWaitAll) == 0 || result.error != 0) {
        return result;
    }
    // The system gives up waiting for all when a signal arrives, which a host must not see.
    for (std::uint64_t last = result.bytes; last > 0; result.bytes += last) {
        cursor.advance(last);
        if (cursor.isEmpty() || hasPendingFailure(fd) || call.isOverdue()) {
            break;
        }
        last = receiveOnce(call, fd, cursor, bits).bytes;
    }
    return result;
}

int sendError(int fd, int systemError) noexcept {
    sockaddr_storage peer;
    socklen_t length = sizeof(peer);
    if (systemError == EPIPE && getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) != 0) {
        return WSAECONNRESET;
    }
    return winsockError(systemError);
}

TransferResult sendFrom(int fd, std::span<iovec> buffers, DWORD flags, Waiting waiting) noexcept {
    BufferCursor cursor(buffers);
    BlockingCall call(fd, Direction::send);
    TransferResult result;
    do {
        const msghdr message = cursor.message();
        const ssize_t count = sendmsg(fd, &message, systemFlags(flags));
        if (count >= 0) {
            result.bytes += static_cast<std::uint64_t>(count);
            cursor.advance(static_cast<std::size_t>(count));
        } else if (errno == EPIPE) {
            result.error = sendError(fd, EPIPE);
        } else if (errno == EAGAIN && waiting == Waiting::always) {
            result.error = call.waitUntilReady() ? 0 : call.error();
        } else if (!call.mayRetry()) {
            result.error = call.error();
        }
    } while (!cursor.isEmpty() && result.error == 0);
    if (result.bytes > 0) {
        result.error = 0;
    }
    return result;
}

namespace {

// The checks that Winsock makes before it looks at the connection. Result: 0 or the number.
int argumentError(int fd, const char* buffer, int length, bool knownFlags) noexcept {
    if (length >= 0 && (buffer != nullptr || length == 0) && knownFlags) {
        return 0;
    }
    if (!isSocket(fd)) {
        return WSAENOTSOCK;
    }
    return knownFlags ? WSAEFAULT : WSAEOPNOTSUPP;
}

int resultOf(const TransferResult& result) noexcept {
    return result.error != 0 ? fail(result.error) : static_cast<int>(result.bytes);
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int send(SOCKET s, const char* buf, int len, int flags) {
    const int fd = descriptorOf(s);
    const auto bits = static_cast<DWORD>(flags);
    if (const int error = argumentError(fd, buf, len, areSendFlags(bits))) {
        return fail(error);
    }
    iovec buffer{const_cast<char*>(buf), static_cast<std::size_t>(len)};
    return resultOf(sendFrom(fd, {&buffer, 1}, bits, Waiting::asTheSocket));
}

int recv(SOCKET s, char* buf, int len, int flags) {
    const int fd = descriptorOf(s);
    const auto bits = static_cast<DWORD>(flags);
    if (const int error = argumentError(fd, buf, len, areReceiveFlags(bits))) {
        return fail(error);
    }
    iovec buffer{buf, static_cast<std::size_t>(len)};
    return resultOf(receiveInto(fd, {&buffer, 1}, bits));
}

} // namespace VexaSsl::platform
