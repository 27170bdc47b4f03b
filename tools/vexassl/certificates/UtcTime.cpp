#include "certificates/UtcTime.h"

#include "common/ExitStatus.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace VexaSsl::tool {

namespace {

constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 60 * secondsPerMinute;
constexpr std::int64_t secondsPerDay = 24 * secondsPerHour;
constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;
constexpr std::uint64_t unitsPerSecond = 10'000'000; // of a FILETIME

struct Parts {
    int year, month, day, hour, minute, second;
};

Parts partsOf(UtcTime time) {
    const std::chrono::sys_seconds seconds{std::chrono::seconds(time)};
    const auto midnight = std::chrono::floor<std::chrono::sys_days::duration>(seconds);
    const std::chrono::year_month_day date(midnight);
    const auto inDay = static_cast<int>((seconds - midnight).count());
    return {static_cast<int>(date.year()),
            static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())),
            inDay / 3600,
            inDay / 60 % 60,
            inDay % 60};
}

std::string formatted(UtcTime time, const char* form) {
    const Parts parts = partsOf(time);
    char text[64] = {};
    std::snprintf(text, sizeof text, form, parts.year, parts.month, parts.day, parts.hour,
                  parts.minute, parts.second);
    return text;
}

// Removes exactly count digits from the front.
bool takeNumber(std::string_view& text, std::size_t count, int& number) {
    const std::string_view digits = text.substr(0, count);
    const bool allDigits = digits.find_first_not_of("0123456789") == std::string_view::npos;
    if (digits.size() != count || !allDigits) {
        return false;
    }
    std::from_chars(digits.data(), digits.data() + count, number);
    text.remove_prefix(count);
    return true;
}

bool take(std::string_view& text, std::string_view oneOf) {
    if (text.empty() || oneOf.find(text.front()) == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool takeDate(std::string_view& text, Parts& parts) {
    return takeNumber(text, 4, parts.year) && take(text, "-") && takeNumber(text, 2, parts.month) &&
           take(text, "-") && takeNumber(text, 2, parts.day);
}

bool takeTimeOfDay(std::string_view& text, Parts& parts) {
    if (!take(text, "T ")) {
        return true;
    }
    const bool hasMinutes =
        takeNumber(text, 2, parts.hour) && take(text, ":") && takeNumber(text, 2, parts.minute);
    const bool hasSeconds = !take(text, ":") || takeNumber(text, 2, parts.second);
    take(text, "Z");
    return hasMinutes && hasSeconds && parts.hour < 24 && parts.minute < 60 && parts.second < 60;
}

std::optional<UtcTime> utcTimeOfDate(std::string_view text) {
    Parts parts{};
    if (!takeDate(text, parts) || !takeTimeOfDay(text, parts) || !text.empty()) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(parts.year),
                                           std::chrono::month(static_cast<unsigned>(parts.month)),
                                           std::chrono::day(static_cast<unsigned>(parts.day))};
    constexpr int firstYear = 1601; // the first year of a FILETIME
    if (!date.ok() || parts.year < firstYear) {
        return std::nullopt;
    }
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return days * secondsPerDay + parts.hour * secondsPerHour + parts.minute * secondsPerMinute +
           parts.second;
}

std::optional<std::int64_t> secondsOfDays(std::string_view text) {
    constexpr std::int64_t mostDays = 1'000'000;
    std::int64_t days = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, days);
    const bool hasUnit =
        std::string_view(result.ptr, static_cast<std::size_t>(end - result.ptr)) == "d";
    if (result.ec != std::errc() || !hasUnit || days < 0 || days > mostDays) {
        return std::nullopt;
    }
    return days * secondsPerDay;
}

} // namespace

UtcTime currentTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(now).count();
}

UtcTime utcTimeOf(const FILETIME& time) {
    const std::uint64_t units = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    return static_cast<UtcTime>(units / unitsPerSecond) - secondsFrom1601To1970;
}

FILETIME fileTimeOf(UtcTime time) {
    const auto units = static_cast<std::uint64_t>(time + secondsFrom1601To1970) * unitsPerSecond;
    FILETIME result{};
    result.dwLowDateTime = static_cast<DWORD>(units & 0xFFFFFFFF);
    result.dwHighDateTime = static_cast<DWORD>(units >> 32);
    return result;
}

std::string utcText(UtcTime time) {
    return formatted(time, "%04d-%02d-%02d %02d:%02d:%02d UTC");
}

std::string utcTextForScripts(UtcTime time) {
    return formatted(time, "%04d-%02d-%02dT%02d:%02d:%02dZ");
}

UtcTime parseUtcTime(const std::string& text) {
    if (text.starts_with('+')) {
        if (const auto seconds = secondsOfDays(std::string_view(text).substr(1))) {
            return currentTime() + *seconds;
        }
    }
    if (const auto time = utcTimeOfDate(text)) {
        return *time;
    }
    throw Failure(ExitStatus::Usage, "[" + text +
                                         "] is no time: write 2026-11-21, 2026-11-21T05:10:00Z, or "
                                         "+30d for so many days from now");
}

std::int64_t parseDays(const std::string& text) {
    if (const auto seconds = secondsOfDays(text)) {
        return *seconds;
    }
    throw Failure(ExitStatus::Usage, "[" + text + "] is no number of days: write 30d");
}

} // namespace VexaSsl::tool
