#include "platform/linux/sockets/Operation.h"

#include "platform/linux/sockets/SystemErrors.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace VexaSsl::linux {

ReceiveOperation::ReceiveOperation(std::vector<iovec> receiveBuffers, DWORD receiveFlags)
    : buffers(std::move(receiveBuffers)), cursor(buffers), flags(receiveFlags),
      onlyProbes(totalSize(buffers) == 0) {}

std::optional<TransferResult> ReceiveOperation::attempt(int fd) {
    if (!onlyProbes) {
        msghdr message = cursor.message();
        return attemptRead(fd, message);
    }
    char byte = 0;
    iovec probe{&byte, 1};
    msghdr message{};
    message.msg_iov = &probe;
    message.msg_iovlen = 1;
    const auto result = attemptRead(fd, message);
    return result ? std::optional(TransferResult{result->error, 0}) : std::nullopt;
}

std::optional<TransferResult> ReceiveOperation::attemptRead(int fd, msghdr& message) {
    const int bits = systemFlags(flags) | MSG_DONTWAIT | (onlyProbes ? MSG_PEEK : 0);
    ssize_t count = -1;
    do {
        count = recvmsg(fd, &message, bits);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return errno == EAGAIN ? std::nullopt
                               : std::optional(TransferResult{winsockError(errno), received});
    }
    received += static_cast<std::uint64_t>(count);
    if (count > 0 && (flags & winsockWaitAll) != 0 && !onlyProbes) {
        cursor.advance(static_cast<std::size_t>(count));
        if (!cursor.isEmpty()) {
            return std::nullopt;
        }
    }
    const bool isCut = (message.msg_flags & MSG_TRUNC) != 0 && !onlyProbes;
    return TransferResult{isCut ? WSAEMSGSIZE : 0, received};
}

pollfd ReceiveOperation::awaited(int fd) const {
    return {fd, static_cast<short>((flags & winsockOutOfBand) != 0 ? POLLPRI : POLLIN), 0};
}

} // namespace VexaSsl::linux
