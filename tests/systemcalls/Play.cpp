#include "systemcalls/Play.h"

#include "fakes/Sweep.h"
#include "integration/support/System.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>

namespace VexaSsl::test {

namespace {

constexpr std::array<Fault, 8> faults{{{"EINTR", EINTR},
                                       {"EAGAIN", EAGAIN},
                                       {"ECONNRESET", ECONNRESET},
                                       {"ENOMEM", ENOMEM},
                                       {"EMFILE", EMFILE},
                                       {"EIO", EIO},
                                       {"ENOBUFS", ENOBUFS},
                                       {"one byte", 0}}};

bool isOneOf(const std::string& call, std::initializer_list<std::string_view> calls) {
    return std::ranges::find(calls, call) != calls.end();
}

std::string describe(const std::string& scenario, const Play& play) {
    std::string text = scenario + ": call " + std::to_string(play.plan.at) + ", " +
                       play.plan.hitCall + " in step '" + play.plan.hitStep + "' gives " +
                       std::string(play.plan.fault.name);
    if (!play.failedStep.empty()) {
        text += "; failed: " + play.failedStep + " with " + std::to_string(play.error);
    }
    return text;
}

struct Tally {
    std::size_t calls = 0; // in a run without failures
    std::size_t runs = 0;  // with a failed call
    std::size_t harmless = 0;
    std::size_t harmlessKept = 0;
    std::size_t lostDescriptors = 0;
};

void run(const Part& part, Play& play) {
    std::thread([&] { part(play); }).join();
}

} // namespace

bool Play::step(const std::string& name, const std::function<bool()>& work) {
    if (!wentWell()) {
        return false;
    }
    plan.step = name;
    bool well = false;
    {
        const Armed armed(plan);
        well = work();
    }
    if (!well) {
        failedStep = name;
        error = platform::WSAGetLastError();
    }
    return well;
}

std::span<const Fault> allFaults() {
    return faults;
}

bool mustNotMatter(const Play& play) {
    const Fault& fault = play.plan.fault;
    const std::string& call = play.plan.hitCall;
    if (fault.number == EINTR) {
        return !isOneOf(call, {"getsockname", "getpeername", "getsockopt", "setsockopt", "shutdown",
                               "bind", "listen", "epoll_create1", "epoll_ctl", "eventfd"});
    }
    return fault.movesOneByte() ||
           (fault.number == EAGAIN && isOneOf(call, {"recv", "recvmsg", "sendmsg", "accept4",
                                                     "connect", "poll", "__poll_chk"}));
}

int winsockNumber(int systemError) {
    switch (systemError) {
    case ECONNRESET:
        return WSAECONNRESET;
    case EMFILE:
        return WSAEMFILE;
    case ENOMEM:
    case ENOBUFS:
        return WSAENOBUFS;
    case EAGAIN:
        return WSAEWOULDBLOCK;
    default:
        return WSAENETDOWN; // Winsock has no error code for I/O errors
    }
}

void sweep(const std::string& scenario, const Part& part,
           const std::function<void(const Play&)>& check) {
    Tally tally;
    {
        Play warmUp; // creates what exists once in a process
        run(part, warmUp);
        Play undisturbed{.plan = {.at = FaultPlan::never, .fault = faults[0], .step = {}},
                         .log = {}};
        run(part, undisturbed);
        EXPECT_TRUE(undisturbed.wentWell()) << describe(scenario, undisturbed);
        tally.calls = undisturbed.plan.seen;
    }
    std::size_t descriptors = openDescriptors();
    for (const Fault& fault : allFaults()) {
        for (std::size_t at = 0;; at += sweepStep(1)) {
            Play play{.plan = {.at = at, .fault = fault, .step = {}}, .log = {}};
            run(part, play);
            const std::string description = describe(scenario, play);
            EXPECT_EQ(play.wrong, "") << description;
            const std::size_t now = openDescriptors();
            EXPECT_EQ(now, descriptors) << description;
            tally.lostDescriptors += now - std::min(now, descriptors);
            descriptors = now;
            if (!play.plan.hasHit()) {
                EXPECT_TRUE(play.wentWell()) << description;
                break;
            }
            ++tally.runs;
            if (mustNotMatter(play)) {
                ++tally.harmless;
                tally.harmlessKept += play.wentWell() ? 1 : 0;
                EXPECT_TRUE(play.wentWell()) << description;
            } else {
                SCOPED_TRACE(description);
                check(play);
            }
        }
    }
    reportFigure("Interrupted and exhausted system calls",
                 scenario + ": about " + std::to_string(tally.calls) + " calls, " +
                     std::to_string(tally.runs) + " runs with one failing, in 8 ways; " +
                     std::to_string(tally.harmlessKept) + " of " + std::to_string(tally.harmless) +
                     " interruptions and the like cost nothing, " +
                     std::to_string(tally.lostDescriptors) + " descriptors lost");
}

} // namespace VexaSsl::test
