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

bool areValidReceiveFlags(DWORD flags) noexcept {
    const bool known = (flags & ~(winsockOutOfBand | winsockPeek | winsockWaitAll)) == 0;
    const bool waitsForAll = (flags & winsockWaitAll) != 0;
    return known && (!waitsForAll || flags == winsockWaitAll);
}

bool areValidSendFlags(DWORD flags) noexcept {
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
    while (!remaining.empty() && bytes >= remaining.front().iov_len) {
        bytes -= remaining.front().iov_len;
        remaining = remaining.subspan(1);
    }
    if (bytes > 0) {
        iovec& front = remaining.front();
        front.iov_base = static_cast<char*>(front.iov_base) + bytes;
        front.iov_len -= bytes;
    }
}

msghdr BufferCursor::header() const noexcept {
    msghdr result{};
    result.msg_iov = remaining.data();
    result.msg_iovlen = std::min<std::size_t>(remaining.size(), IOV_MAX);
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

// One attempt. Returns as recvmsg does; error becomes WSAEMSGSIZE for a truncated datagram, else 0.
ssize_t attemptReceive(int fd, const BufferCursor& cursor, int flags, int& error) noexcept {
    error = 0;
    const iovec* const single = cursor.singleBuffer();
    if (single != nullptr && kindOf(fd) == SocketKind::stream) { // cuts nothing off, costs less
        return ::recv(fd, single->iov_base, single->iov_len, flags);
    }
    msghdr header = cursor.header();
    const ssize_t count = recvmsg(fd, &header, flags);
    if (count >= 0 && (header.msg_flags & MSG_TRUNC) != 0) {
        error = WSAEMSGSIZE;
    }
    return count;
}

// Receives once into the remaining buffers. Tries again as BlockingCall requires.
TransferResult receiveOnce(BlockingCall& call, int fd, const BufferCursor& cursor,
                           int flags) noexcept {
    for (;;) {
        int error = 0;
        const ssize_t count = attemptReceive(fd, cursor, flags, error);
        if (count >= 0) {
            return {error, static_cast<std::uint64_t>(count)};
        }
        if (!call.prepareRetry()) {
            return {call.error(), 0};
        }
    }
}

// Returns whether the socket has a pending error. When bytes have been received, the error is left
// for the next call; another receive would clear it.
bool hasPendingError(int fd) noexcept {
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
    // A signal ends the system's MSG_WAITALL early; continue until all bytes have arrived.
    for (std::uint64_t last = result.bytes; last > 0; result.bytes += last) {
        cursor.advance(last);
        if (cursor.isEmpty() || hasPendingError(fd) || call.hasTimedOut()) {
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

TransferResult sendFrom(int fd, std::span<iovec> buffers, DWORD flags, Blocking blocking) noexcept {
    BufferCursor cursor(buffers);
    BlockingCall call(fd, Direction::send);
    TransferResult result;
    do {
        const msghdr header = cursor.header();
        const ssize_t count = sendmsg(fd, &header, systemFlags(flags));
        if (count >= 0) {
            result.bytes += static_cast<std::uint64_t>(count);
            cursor.advance(static_cast<std::size_t>(count));
        } else if (errno == EPIPE) {
            result.error = sendError(fd, EPIPE);
        } else if (errno == EAGAIN && blocking == Blocking::always) {
            result.error = call.waitUntilReady() ? 0 : call.error();
        } else if (!call.prepareRetry()) {
            result.error = call.error();
        }
    } while (!cursor.isEmpty() && result.error == 0);
    if (result.bytes > 0) {
        result.error = 0;
    }
    return result;
}

namespace {

// The checks that Winsock makes before it uses the connection. Returns 0 or a Winsock error code.
int argumentError(int fd, const char* buffer, int length, bool hasValidFlags) noexcept {
    if (length >= 0 && (buffer != nullptr || length == 0) && hasValidFlags) {
        return 0;
    }
    if (!isSocket(fd)) {
        return WSAENOTSOCK;
    }
    return hasValidFlags ? WSAEFAULT : WSAEOPNOTSUPP;
}

int winsockResult(const TransferResult& result) noexcept {
    return result.error != 0 ? fail(result.error) : static_cast<int>(result.bytes);
}

} // namespace

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

int send(SOCKET s, const char* buf, int len, int flags) {
    const int fd = descriptorOf(s);
    const auto bits = static_cast<DWORD>(flags);
    if (const int error = argumentError(fd, buf, len, areValidSendFlags(bits))) {
        return fail(error);
    }
    iovec buffer{const_cast<char*>(buf), static_cast<std::size_t>(len)};
    return winsockResult(sendFrom(fd, {&buffer, 1}, bits, Blocking::asSocket));
}

int recv(SOCKET s, char* buf, int len, int flags) {
    const int fd = descriptorOf(s);
    const auto bits = static_cast<DWORD>(flags);
    if (const int error = argumentError(fd, buf, len, areValidReceiveFlags(bits))) {
        return fail(error);
    }
    iovec buffer{buf, static_cast<std::size_t>(len)};
    return winsockResult(receiveInto(fd, {&buffer, 1}, bits));
}

} // namespace VexaSsl::platform
