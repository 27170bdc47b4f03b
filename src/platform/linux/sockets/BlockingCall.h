// What a blocking socket call does when the system gives up early. Winsock knows neither signals
// nor a would-block on a blocking socket: such a call waits on. Any thread, any socket.
#pragma once

#include <chrono>

namespace VexaSsl::linux {

// Which way a call moves data; the socket's own time-out for that way bounds it.
enum class Direction { receive, send };

// One call from its first attempt to its outcome.
class BlockingCall {
public:
    BlockingCall(int socket, Direction way) noexcept;

    // After an attempt failed with errno. True: attempt again; a wait, if one was needed, is over.
    // False: it has failed for good, error() is the Winsock number: WSAEWOULDBLOCK on a
    // non-blocking socket, WSAETIMEDOUT when the socket's time-out is over.
    bool mayRetry() noexcept;

    // Waits until the socket is ready. Used where an attempt must not be repeated.
    // Result: true when it is ready; false with error() as above.
    bool waitUntilReady() noexcept;

    // Whether the socket's time-out, counted from the first attempt, is over; some milliseconds
    // early at the most.
    bool isOverdue() const noexcept;

    int error() const noexcept { return number; }

private:
    int fd;
    Direction direction;
    std::chrono::steady_clock::time_point start;
    int number = 0;
};

} // namespace VexaSsl::linux
