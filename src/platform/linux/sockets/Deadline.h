// A point in time up to which a call may wait, so that an interrupted wait goes on with what is
// left of its time. Plain value, any thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <optional>

namespace VexaSsl::linux {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    static Deadline never() { return Deadline{}; }

    // So long from now; more than a hundred years is never. No time at all needs no clock, neither
    // here nor later: who only wants to look asks often.
    static Deadline after(std::chrono::microseconds time) {
        constexpr std::chrono::hours longest{24 * 365 * 100};
        if (time <= time.zero()) {
            return Deadline{always};
        }
        return time > longest ? never() : Deadline{Clock::now() + time};
    }

    // 0xFFFFFFFF milliseconds is never.
    static Deadline afterMilliseconds(std::uint32_t milliseconds) {
        return milliseconds == UINT32_MAX ? never()
                                          : after(std::chrono::milliseconds(milliseconds));
    }

    bool hasPassed() const { return end && (*end == always || Clock::now() >= *end); }

    // What is left, as poll and epoll_wait take it: rounded up, -1 for ever. A longer time than an
    // int holds comes in pieces: the caller waits again as long as the deadline hasn't passed.
    int milliseconds() const {
        if (!end) {
            return -1;
        }
        if (*end == always) {
            return 0;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

private:
    static constexpr Clock::time_point always = Clock::time_point::min(); // has passed

    Deadline() = default;
    explicit Deadline(Clock::time_point when) : end(when) {}

    std::optional<Clock::time_point> end;
};

} // namespace VexaSsl::linux
