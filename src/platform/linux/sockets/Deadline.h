// The time until which a call may wait. An interrupted wait continues with the time that is left.
// Immutable: any thread.
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

    // More than a hundred years is never. Zero doesn't read the clock, here or later, as hosts poll
    // often.
    static Deadline after(std::chrono::microseconds time) {
        constexpr std::chrono::hours longest{24 * 365 * 100};
        if (time <= time.zero()) {
            return Deadline{passed};
        }
        return time > longest ? never() : Deadline{Clock::now() + time};
    }

    // 0xFFFFFFFF milliseconds is never.
    static Deadline afterMilliseconds(std::uint32_t milliseconds) {
        return milliseconds == UINT32_MAX ? never()
                                          : after(std::chrono::milliseconds(milliseconds));
    }

    bool hasPassed() const { return end && (*end == passed || Clock::now() >= *end); }

    // Returns the time left as poll and epoll_wait take it: rounded up, -1 for never, at most
    // INT_MAX. The caller waits again until the deadline has passed.
    int milliseconds() const {
        if (!end) {
            return -1;
        }
        if (*end == passed) {
            return 0;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

private:
    static constexpr Clock::time_point passed = Clock::time_point::min();

    Deadline() = default;
    explicit Deadline(Clock::time_point when) : end(when) {}

    std::optional<Clock::time_point> end;
};

} // namespace VexaSsl::linux
