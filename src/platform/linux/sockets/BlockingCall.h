// Winsock's blocking calls over POSIX calls: a call that a signal interrupts, or that fails with
// EAGAIN on a blocking socket, is continued until it completes or the socket's timeout ends. One
// thread at a time.
#pragma once

#include <chrono>

namespace VexaSsl::linux {

// The direction of a call, which selects the socket's timeout.
enum class Direction { receive, send };

// One call, from its first attempt to its result.
class BlockingCall {
public:
    BlockingCall(int fd, Direction direction) noexcept;

    // Called after an attempt that failed with errno; waits until the socket is ready if it must.
    // Returns true when the caller is to try again; false when the call has failed, with error():
    // WSAEWOULDBLOCK on a non-blocking socket, WSAETIMEDOUT, or the code for errno.
    bool prepareRetry() noexcept;

    // Waits until the socket is ready, also a non-blocking one. Returns false on failure, with
    // error().
    bool waitUntilReady() noexcept;

    // Returns whether the socket's timeout has passed since the first attempt; true may come some
    // milliseconds early.
    bool hasTimedOut() const noexcept;

    int error() const noexcept { return errorCode; }

private:
    int fd;
    Direction direction;
    std::chrono::steady_clock::time_point start;
    int errorCode = 0;
};

} // namespace VexaSsl::linux
