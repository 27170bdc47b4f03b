// Shows the progress of sending a file on one line of a terminal, which is overwritten: the bytes
// sent, the rate, and the time left. Nothing is shown when stderr is no terminal. For a script a
// function is called once, at the end.
//
// Threads: one.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace VexaSsl::tool {

// Takes the number of bytes sent and the time that it took.
using SentReport = std::function<void(std::uintmax_t bytes, std::chrono::milliseconds taken)>;

class SendProgress {
public:
    // report: called at the end, and nothing is shown, when it isn't empty.
    SendProgress(std::uintmax_t total, SentReport report);

    // The number of bytes sent so far. Writes now and then.
    void sent(std::uintmax_t bytes);
    // Everything has been sent: ends the line.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void show(Clock::time_point now);

    std::uintmax_t total;
    std::uintmax_t gone = 0;
    SentReport report;
    bool isShown;
    Clock::time_point begun = Clock::now();
    Clock::time_point lastShown = begun;
};

// "12.0 MiB of 64.0 MiB, 4.0 MiB/s, 13 s left"; without rate and remainder when no time has passed.
std::string progressText(std::uintmax_t gone, std::uintmax_t total,
                         std::chrono::duration<double> taken);

} // namespace VexaSsl::tool
