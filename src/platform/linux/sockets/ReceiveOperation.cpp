#include "platform/linux/sockets/Operation.h"

#include "platform/linux/sockets/SystemErrors.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace VexaSsl::linux {

ReceiveOperation::ReceiveOperation(std::vector<iovec> buffers, DWORD flags)
    : buffers(std::move(buffers)), cursor(this->buffers), flags(flags),
      isReadinessProbe(totalSize(this->buffers) == 0) {}

std::optional<TransferResult> ReceiveOperation::attempt(int fd) {
    if (!isReadinessProbe) {
        msghdr header = cursor.header();
        return attemptRead(fd, header);
    }
    char byte = 0;
    iovec probe{&byte, 1};
    msghdr header{};
    header.msg_iov = &probe;
    header.msg_iovlen = 1;
    const auto result = attemptRead(fd, header);
    return result ? std::optional(TransferResult{result->error, 0}) : std::nullopt;
}

std::optional<TransferResult> ReceiveOperation::attemptRead(int fd, msghdr& header) {
    const int bits = systemFlags(flags) | MSG_DONTWAIT | (isReadinessProbe ? MSG_PEEK : 0);
    ssize_t count = -1;
    do {
        count = recvmsg(fd, &header, bits);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return errno == EAGAIN ? std::nullopt
                               : std::optional(TransferResult{winsockError(errno), received});
    }
    received += static_cast<std::uint64_t>(count);
    if (count > 0 && (flags & winsockWaitAll) != 0 && !isReadinessProbe) {
        cursor.advance(static_cast<std::size_t>(count));
        if (!cursor.isEmpty()) {
            return std::nullopt;
        }
    }
    const bool isTruncated = (header.msg_flags & MSG_TRUNC) != 0 && !isReadinessProbe;
    return TransferResult{isTruncated ? WSAEMSGSIZE : 0, received};
}

pollfd ReceiveOperation::pollEntry(int fd) const {
    return {fd, static_cast<short>((flags & winsockOutOfBand) != 0 ? POLLPRI : POLLIN), 0};
}

} // namespace VexaSsl::linux
