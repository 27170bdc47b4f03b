// Conversion between time_t and FILETIME, which counts 100 nanoseconds since 1601. Any thread.
#pragma once

#include "CryptoShapes.h"

#include <cstdint>
#include <ctime>

namespace VexaSsl::openssl {

inline constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;
inline constexpr std::uint64_t fileTimeUnitsPerSecond = 10'000'000;

// A time before 1601 becomes 0.
inline FILETIME fileTimeOf(std::time_t time) noexcept {
    const std::int64_t seconds = std::int64_t{time} + secondsFrom1601To1970;
    const std::uint64_t units =
        seconds < 0 ? 0 : static_cast<std::uint64_t>(seconds) * fileTimeUnitsPerSecond;
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

inline std::time_t timeOf(const FILETIME& time) noexcept {
    const std::uint64_t units = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    return static_cast<std::time_t>(units / fileTimeUnitsPerSecond) - secondsFrom1601To1970;
}

} // namespace VexaSsl::openssl
