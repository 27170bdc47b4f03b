// How far the sending of a file is, on one line of a terminal that is written over and over: what
// has gone, the rate, and what remains. Where stderr is no terminal nothing is written. A script is
// told once, at the end.
//
// Threads: one.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace VexaSsl::tool {

// Takes how many bytes have gone in all, and the time that they took.
using TellSent = std::function<void(std::uintmax_t bytes, std::chrono::milliseconds taken)>;

class SendProgress {
public:
    // tellAtTheEnd: called in the place of every writing, when it isn't empty.
    SendProgress(std::uintmax_t totalSize, TellSent tellAtTheEnd);

    // So many bytes have gone. Writes now and then.
    void sent(std::uintmax_t bytes);
    // Everything has gone: the line stays, and the next one is free for others.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    void show(Clock::time_point now);

    std::uintmax_t total;
    std::uintmax_t gone = 0;
    TellSent tell;
    bool isShown;
    Clock::time_point begun = Clock::now();
    Clock::time_point lastShown = begun;
};

// "12.0 MiB of 64.0 MiB, 4.0 MiB/s, 13 s left"; without rate and remainder while no time is over.
std::string progressText(std::uintmax_t gone, std::uintmax_t total,
                         std::chrono::duration<double> taken);

} // namespace VexaSsl::tool
