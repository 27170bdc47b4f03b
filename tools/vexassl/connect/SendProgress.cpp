#include "connect/SendProgress.h"

#include "common/Terminal.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

namespace VexaSsl::tool {

namespace {

constexpr std::chrono::milliseconds pause{200};
// Moves to the first column and clears the line.
constexpr const char* lineStart = "\r\x1b[K";

std::string amount(double bytes) {
    constexpr std::array<const char*, 5> units = {"B", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text.data();
}

} // namespace

std::string progressText(std::uintmax_t gone, std::uintmax_t total,
                         std::chrono::duration<double> taken) {
    const auto done = static_cast<double>(gone);
    const auto all = static_cast<double>(total);
    std::string text = amount(done) + " of " + amount(all);
    if (taken.count() <= 0 || gone == 0) {
        return text;
    }
    const double rate = done / taken.count();
    text += ", " + amount(rate) + "/s";
    if (gone < total) {
        text += ", " + std::to_string(std::llround(std::ceil((all - done) / rate))) + " s left";
    }
    return text;
}

SendProgress::SendProgress(std::uintmax_t total, SentReport report)
    : total(total), report(std::move(report)), isShown(!this->report && isTerminal(stderr)) {}

void SendProgress::sent(std::uintmax_t bytes) {
    gone = bytes;
    const auto now = Clock::now();
    if (now - lastShown >= pause) {
        show(now);
    }
}

void SendProgress::finish() {
    if (report) {
        report(gone, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun));
    }
    show(Clock::now());
    if (isShown) {
        std::fputc('\n', stderr);
    }
}

void SendProgress::show(Clock::time_point now) {
    lastShown = now;
    if (isShown) {
        std::fprintf(stderr, "%s%s", lineStart, progressText(gone, total, now - begun).c_str());
        std::fflush(stderr);
    }
}

} // namespace VexaSsl::tool
