// A point in time up to which a call may wait, so that an interrupted wait goes on with what is
// left of its time. Plain value, any thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <optional>

namespace VexaSsl::portable {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    static Deadline never() { return Deadline{}; }

    // So long from now; more than a hundred years is never.
    static Deadline after(std::chrono::microseconds time) {
        constexpr std::chrono::hours longest{24 * 365 * 100};
        return time > longest ? never() : Deadline{Clock::now() + time};
    }

    // 0xFFFFFFFF milliseconds is never.
    static Deadline afterMilliseconds(std::uint32_t milliseconds) {
        return milliseconds == UINT32_MAX ? never()
                                          : after(std::chrono::milliseconds(milliseconds));
    }

    bool hasPassed() const { return end && Clock::now() >= *end; }

    // What is left, as poll and epoll_wait take it: rounded up, -1 for ever. A longer time than an
    // int holds comes in pieces: the caller waits again as long as the deadline hasn't passed.
    int milliseconds() const {
        if (!end) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

private:
    Deadline() = default;
    explicit Deadline(Clock::time_point when) : end(when) {}

    std::optional<Clock::time_point> end;
};

} // namespace VexaSsl::portable
