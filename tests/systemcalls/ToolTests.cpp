// The real tool with system calls that strace fails from outside: a client and a server, each
// against an undisturbed counterpart.
#include "fakes/Sweep.h"
#include "tool/Tool.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>

namespace VexaSsl::test {
namespace {

// The k-th call of each thread fails.
struct Injection {
    std::string call;
    std::string error;
    int when;

    std::string text() const { return call + ":error=" + error + ":when=" + std::to_string(when); }
    // An interruption, or "not yet" from a call on a socket that can be made again.
    bool mustNotMatter() const {
        const bool canBeMadeAgain = call == "recvmsg" || call == "sendmsg" || call == "accept4" ||
                                    call == "connect" || call == "poll";
        return error == "EINTR" || (error == "EAGAIN" && canBeMadeAgain);
    }
};

// strace watches from beside, so that the tool is this process' own child. A sanitizer's search for
// leaks would watch in the same way, and only one can.
Words injected(const Injection& injection) {
    return {"env",
            "ASAN_OPTIONS=detect_leaks=0",
            "strace",
            "-D",
            "-f",
            "--seccomp-bpf",
            "-qq",
            "-o",
            freshFile(".strace").string(),
            "-e",
            "trace=" + injection.call,
            "-e",
            "inject=" + injection.text()};
}

// Why strace can't be used here; empty when it can.
std::string whyNoStrace() {
    constexpr int programNotFound = 127;
    Command trial(injected({"getppid", "EPERM", 1}) + Words{"true"});
    const int status = trial.exitStatus();
    if (status == programNotFound) {
        return "there is no strace here";
    }
    return status == 0 ? "" : "strace may not watch a process here";
}

// Usually every call with two errors and few places; all errors and more places in a full sweep.
std::vector<Injection> sampleOf(const std::vector<std::string>& calls, std::size_t step) {
    std::vector<Injection> sample;
    const std::vector<std::string> errors = {"EINTR",  "EAGAIN", "ECONNRESET",
                                             "ENOMEM", "EMFILE", "EIO"};
    std::size_t number = 0;
    for (const std::string& call : calls) {
        for (const std::string& error : errors) {
            for (int when = 1; when <= 4; ++when, ++number) {
                if (number % sweepStep(step) == 0) {
                    sample.push_back({call, error, when});
                }
            }
        }
    }
    return sample;
}

// One that ends by itself: well, or with a line of its own and a status.
void expectClearEnd(const Outcome& outcome) {
    EXPECT_GE(outcome.status, 0) << "it hung";
    EXPECT_LT(outcome.status, 128) << "it was ended by a signal";
    EXPECT_EQ(failureLines(outcome.errors), outcome.status == 0 ? 0 : 1) << outcome.errors;
}

// The loader and the run-time library open files before the tool does; theirs are not the tool's
// to answer for.
const std::vector<std::string> clientCalls = {"recvmsg", "sendmsg", "connect",
                                              "poll",    "socket",  "fcntl"};
const std::vector<std::string> serverCalls = {"recvmsg", "sendmsg", "accept4",
                                              "poll",    "dup3",    "fcntl"};

TEST(SystemCallsOfTheTool, aClientEndsWellOrWithALine) {
    if (const std::string reason = whyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    RunningServer server(secureServer(pki::localhostElliptic));
    const Words plain = connectTo(server.target(), secureClient());
    const auto sample = sampleOf(clientCalls, 7);
    std::size_t kept = 0;
    std::size_t told = 0;
    for (const Injection& injection : sample) {
        SCOPED_TRACE(injection.text());
        Command command(injected(injection) + plain, Command::Input::text("hello"));
        const Outcome outcome = runToEnd(command);
        expectClearEnd(outcome);
        kept += outcome.status == 0 ? 1 : 0;
        told += outcome.status > 0 && outcome.status < 128 ? 1 : 0;
        if (injection.mustNotMatter()) {
            EXPECT_EQ(outcome.status, 0) << outcome.errors;
        }
        if (outcome.status == 0) {
            EXPECT_EQ(outcome.output, "hello");
        }
    }
    tellFigure("Interrupted and exhausted system calls",
               "vexassl connect under strace: " + std::to_string(sample.size()) + " runs, " +
                   std::to_string(kept) + " well, " + std::to_string(told) +
                   " with one line and a status");
}

TEST(SystemCallsOfTheTool, aServerServesOnAndStopsInGoodOrder) {
    if (const std::string reason = whyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const Words arguments = secureServer(pki::localhostElliptic);
    const Words caller = secureClient();
    const auto sample = sampleOf(serverCalls, 17);
    std::size_t connections = 0;
    std::size_t served = 0;
    std::size_t inOrder = 0;
    for (const Injection& injection : sample) {
        SCOPED_TRACE(injection.text());
        RunningServer server(arguments, injected(injection));
        const std::size_t descriptors = server.command().settledDescriptors();
        for (int i = 0; i < 2; ++i, ++connections) {
            Command command(connectTo(server.target(), caller), Command::Input::text("hello"));
            const Outcome outcome = runToEnd(command);
            served += outcome.status == 0 && outcome.output == "hello" ? 1 : 0;
            if (injection.mustNotMatter()) {
                EXPECT_EQ(outcome.output, "hello") << outcome.errors;
            }
        }
        EXPECT_LE(server.command().settledDescriptors(), descriptors);
        server.command().signal(SIGTERM);
        const int status = server.command().exitStatus();
        EXPECT_EQ(status, 0) << server.command().errors();
        inOrder += status == 0 ? 1 : 0;
    }
    tellFigure("Interrupted and exhausted system calls",
               "vexassl serve under strace: " + std::to_string(sample.size()) + " servers, " +
                   std::to_string(inOrder) + " stopped in good order; " + std::to_string(served) +
                   " of " + std::to_string(connections) + " connections served");
}

} // namespace
} // namespace VexaSsl::test
