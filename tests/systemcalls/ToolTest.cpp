// The tool with system calls that strace makes fail: a client and a server, each with a peer
// without failures.
#include "tool/Tool.h"
#include "fakes/Sweep.h"
#include "tool/ExampleHost.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

// The k-th call of each thread fails.
struct Injection {
    std::string call;
    std::string error;
    int when;

    std::string text() const { return call + ":error=" + error + ":when=" + std::to_string(when); }
    // EINTR, or EAGAIN from a call on a socket that can be repeated. Calls that open and stat files
    // are not interrupted.
    bool mustNotMatter() const {
        const bool isAboutFiles = call == "openat" || call == "newfstatat";
        const bool canBeMadeAgain = call == "recvfrom" || call == "recvmsg" || call == "sendmsg" ||
                                    call == "accept4" || call == "connect" || call == "poll";
        return (error == "EINTR" && !isAboutFiles) || (error == "EAGAIN" && canBeMadeAgain);
    }
};

// strace attaches to the tool, so that the tool is a child of this process. The leak sanitizer also
// attaches, and only one can.
Words watched(const std::filesystem::path& log, const Words& what) {
    return Words{"env",       "ASAN_OPTIONS=detect_leaks=0",
                 "strace",    "-D",
                 "-f",        "--seccomp-bpf",
                 "-qq",       "-o",
                 log.string()} +
           what;
}

Words injected(const Injection& injection, const std::filesystem::path& log) {
    return watched(log, {"-e", "trace=" + injection.call, "-e", "inject=" + injection.text()});
}

// The same for a server that prints to this file. A thread also writes to wake another one, which
// the system can only interrupt, so other failures apply to printing.
Words injectedInServer(const Injection& injection, const std::filesystem::path& log,
                       const std::filesystem::path& printed) {
    const bool isOfPrinting = injection.call == "write" && !injection.mustNotMatter();
    return isOfPrinting ? injected(injection, log) + Words{"-P", printed.string()}
                        : injected(injection, log);
}

bool wasHit(const std::filesystem::path& log) {
    return contents(log).find("(INJECTED)") != std::string::npos;
}

// Returns why strace can't be used; empty when it can.
std::string whyNoStrace() {
    constexpr int programNotFound = 127;
    Command trial(injected({"getppid", "EPERM", 1}, freshFile(".strace")) + Words{"true"});
    const int status = trial.exitStatus();
    if (status == programNotFound) {
        return "there is no strace here";
    }
    return status == 0 ? "" : "strace may not watch a process here";
}

// Without strace there is a figure that says so.
std::string tellWhyNoStrace() {
    std::string reason = whyNoStrace();
    if (!reason.empty()) {
        reportFigure("Interrupted and exhausted system calls",
                     "NOT RUN: vexassl under strace, since " + reason);
    }
    return reason;
}

// Returns how often the loader and the run-time library make each call before the tool opens its
// first file. Those calls are not tested.
std::map<std::string, int> callsBeforeTheTool() {
    const auto log = freshFile(".strace");
    Command trial(watched(log, {"-e", "trace=read,write,openat,newfstatat"}) +
                  connectTo("localhost:1", secureClient()));
    trial.exitStatus();
    std::map<std::string, int> counts;
    std::istringstream lines(contents(log));
    for (std::string line; std::getline(lines, line);) {
        if (line.find(".ini\"") != std::string::npos) {
            return counts;
        }
        std::istringstream words(line);
        std::string process;
        std::string call;
        std::getline(words >> process >> std::ws, call, '(');
        ++counts[call];
    }
    throw std::runtime_error("the tool doesn't open its ini file under strace");
}

// The first four of each call on a thread, with every error: all in a full sweep, otherwise some.
struct Sample {
    std::vector<Injection> injections;
    std::size_t outOf = 0;

    // "264 of 264 runs"
    std::string text(const std::string& runs) const {
        return "the first 4 of each call fail in 6 ways, " + std::to_string(injections.size()) +
               " of " + std::to_string(outOf) + " " + runs;
    }
};

Sample sampleOf(const Words& calls, std::size_t step) {
    Sample sample;
    const std::vector<std::string> errors = {"EINTR",  "EAGAIN", "ECONNRESET",
                                             "ENOMEM", "EMFILE", "EIO"};
    auto before = callsBeforeTheTool();
    for (const std::string& call : calls) {
        for (const std::string& error : errors) {
            for (int when = 1; when <= 4; ++when, ++sample.outOf) {
                if (sample.outOf % sweepStep(step) == 0) {
                    sample.injections.push_back({call, error, before[call] + when});
                }
            }
        }
    }
    return sample;
}

// A run that ends by itself: with success, or with an error line and a status.
void expectClearEnd(const Outcome& outcome) {
    EXPECT_GE(outcome.status, 0) << "it hung";
    EXPECT_LT(outcome.status, 128) << "ended by a signal";
    EXPECT_EQ(failureLines(outcome.errors), outcome.status == 0 ? 0 : 1) << outcome.errors;
}

#ifdef VEXASSL_UNDER_SANITIZER
// The run-time of the sanitizer makes such calls at any time and ends the process when one fails.
const Words fileCalls = {};
#else
const Words fileCalls = {"read", "write", "openat", "newfstatat"};
#endif
const Words clientCalls =
    Words{"recvfrom", "sendmsg", "connect", "poll", "socket", "fcntl"} + fileCalls;
const Words serverCalls =
    Words{"recvfrom", "recvmsg", "sendmsg", "accept4", "poll", "dup3", "fcntl", "socket"} +
    fileCalls;

TEST(SystemCallsOfTheTool, clientSucceedsOrPrintsAnError) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    RunningServer server(secureServer(pki::localhostElliptic));
    const Words plain = connectTo(server.target(), secureClient());
    const auto sample = sampleOf(clientCalls, 11);
    std::size_t hit = 0;
    std::size_t kept = 0;
    std::size_t told = 0;
    std::size_t cutShort = 0;
    for (const Injection& injection : sample.injections) {
        SCOPED_TRACE(injection.text());
        const auto log = freshFile(".strace");
        Command command(injected(injection, log) + plain, Command::Input::text("hello"));
        const Outcome outcome = runToEnd(command);
        hit += wasHit(log) ? 1 : 0;
        // A failed read ends a configuration file early, and the rest may have asked for
        // encryption. The tool prints a note.
        if (outcome.errors.find("this is plain text") != std::string::npos) {
            EXPECT_EQ(injection.call, "read");
            EXPECT_FALSE(injection.mustNotMatter());
            EXPECT_GE(outcome.status, 0) << "it hung";
            EXPECT_LT(outcome.status, 128) << "ended by a signal";
            ++cutShort;
            continue;
        }
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
    EXPECT_GT(hit, 0U);
    reportFigure("Interrupted and exhausted system calls",
                 "vexassl connect under strace: " + sample.text("runs") + ", " +
                     std::to_string(hit) + " with a failed call; " + std::to_string(kept) +
                     " ended well, " + std::to_string(told) + " with one line and a status, " +
                     std::to_string(cutShort) +
                     " noted plain text after a read of the configuration failed");
}

// The peer, which closes after the end of the input, would otherwise wait as long as the client.
TEST(SystemCallsOfTheTool, clientWhoseShutdownFailsEndsAtOnceWithTheCause) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    RunningServer server(secureServer(pki::localhostElliptic));
    const auto log = freshFile(".strace");
    Command command(injected({"shutdown", "ENOBUFS", 1}, log) +
                        connectTo(server.target(), secureClient()),
                    Command::Input::text("hello"));
    const Outcome outcome = runToEnd(command);
    EXPECT_TRUE(wasHit(log));
    expectClearEnd(outcome);
    EXPECT_NE(outcome.status, 0);
    EXPECT_NE(outcome.errors.find("the end of the input can't be sent: "), std::string::npos)
        << outcome.errors;
}

struct ServerCounts {
    std::size_t hit = 0;
    std::size_t connections = 0;
    std::size_t served = 0;
    std::size_t inOrder = 0;
    std::size_t neverStarted = 0;
};

// Of a server that is ready.
std::string addressOf(const Command& server) {
    const std::string line = server.output();
    const std::size_t port = line.rfind(':') + 1;
    return "localhost:" + line.substr(port, line.find('\n', port) - port);
}

// Two clients, then a signal that ends the server.
void useServer(Command& server, const Injection& injection, ServerCounts& counts) {
    const std::string target = addressOf(server);
    const std::size_t descriptors = server.settledDescriptors();
    for (int i = 0; i < 2; ++i, ++counts.connections) {
        Command command(connectTo(target, secureClient()), Command::Input::text("hello"));
        const Outcome outcome = runToEnd(command);
        counts.served += outcome.status == 0 && outcome.output == "hello" ? 1 : 0;
        if (injection.mustNotMatter()) {
            EXPECT_EQ(outcome.output, "hello") << outcome.errors;
        }
    }
    EXPECT_LE(server.settledDescriptors(), descriptors);
    server.signal(SIGTERM);
    const int status = server.exitStatus();
    EXPECT_EQ(status, 0) << server.errors();
    counts.inOrder += status == 0 ? 1 : 0;
}

TEST(SystemCallsOfTheTool, serverContinuesAndStopsInOrderOrPrintsWhyItCannotStart) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const Words plain =
        Words{VEXASSL_TOOL, "serve", "--port", "0"} + secureServer(pki::localhostElliptic);
    const auto sample = sampleOf(serverCalls, 31);
    ServerCounts counts;
    for (const Injection& injection : sample.injections) {
        SCOPED_TRACE(injection.text());
        const auto log = freshFile(".strace");
        const auto printed = freshFile(".out");
        Command server(injectedInServer(injection, log, printed) + plain, Command::Input::none(),
                       printed);
        if (server.shows("\n")) {
            useServer(server, injection, counts);
        } else {
            const Outcome outcome = runToEnd(server);
            expectClearEnd(outcome);
            EXPECT_NE(outcome.status, 0);
            EXPECT_FALSE(injection.mustNotMatter()) << outcome.errors;
            ++counts.neverStarted;
        }
        counts.hit += wasHit(log) ? 1 : 0;
    }
    EXPECT_GT(counts.hit, 0U);
    reportFigure("Interrupted and exhausted system calls",
                 "vexassl serve under strace: " + sample.text("servers") + ", " +
                     std::to_string(counts.hit) + " with a failed call; " +
                     std::to_string(counts.neverStarted) + " ended at the start with one line, " +
                     std::to_string(counts.inOrder) + " stopped in good order; " +
                     std::to_string(counts.served) + " of " + std::to_string(counts.connections) +
                     " connections served");
}

// One thread after another can't be made: first those of the start, then those of connections.
// Returns the number of servers that a thread was missing in.
std::size_t serveWithoutOneThread(const Words& mode, ServerCounts& counts) {
    const Words plain =
        Words{VEXASSL_TOOL, "serve", "--port", "0"} + secureServer(pki::localhostElliptic) + mode;
    for (int when = 1;; ++when) {
        const Injection injection{"clone,clone3", "EAGAIN", when};
        SCOPED_TRACE(injection.text());
        const auto log = freshFile(".strace");
        Command server(injected(injection, log) + plain);
        const std::size_t servedBefore = counts.served;
        if (server.shows("\n")) {
            useServer(server, injection, counts);
            EXPECT_GE(counts.served, servedBefore + 1) << "more than one connection was lost";
        } else {
            const Outcome outcome = runToEnd(server);
            expectClearEnd(outcome);
            EXPECT_NE(outcome.status, 0);
            ++counts.neverStarted;
        }
        if (!wasHit(log)) {
            EXPECT_EQ(counts.served, servedBefore + 2);
            return static_cast<std::size_t>(when - 1);
        }
    }
}

TEST(SystemCallsOfTheTool, threadThatCannotBeMadeEndsTheStartOrCostsAConnection) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (const Words& mode : {Words{}, Words{"--overlapped"}}) {
        ServerCounts counts;
        const std::size_t threads = serveWithoutOneThread(mode, counts);
        EXPECT_GT(counts.neverStarted, 0U);
        EXPECT_EQ(threads, counts.neverStarted + 2) << "each connection has a thread of its own";
        reportFigure("Interrupted and exhausted system calls",
                     "vexassl serve" + (mode.empty() ? "" : " " + mode.front()) + ": each of " +
                         std::to_string(threads) + " threads missing once; " +
                         std::to_string(counts.neverStarted) +
                         " ended at the start with one line, " + std::to_string(counts.served) +
                         " of " + std::to_string(counts.connections) + " connections served");
    }
}

TEST(SystemCallsOfTheTool, droppedConnectionThatIsCountedIsAFailure) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    for (const Words& mode : {Words{}, Words{"--overlapped"}}) {
        bool hasStarted = false;
        for (int when = 1; !hasStarted; ++when) {
            const auto log = freshFile(".strace");
            Command server(injected({"clone,clone3", "EAGAIN", when}, log) +
                           Words{VEXASSL_TOOL, "serve", "--port", "0", "--count", "1"} + mode);
            hasStarted = server.shows("\n"); // else a thread of the start is missing
            if (hasStarted) {
                runTool({"connect", addressOf(server)}, Command::Input::text("hello"));
                EXPECT_TRUE(wasHit(log));
                EXPECT_NE(server.errors().find("connection dropped: "), std::string::npos);
            }
            EXPECT_EQ(server.exitStatus(), 1) << server.errors();
        }
    }
}

TEST(SystemCallsOfTheTool, clientThatCannotMakeAThreadPrintsAnError) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    RunningServer server(secureServer(pki::localhostElliptic));
    for (int when = 1;; ++when) {
        const Injection injection{"clone,clone3", "EAGAIN", when};
        SCOPED_TRACE(injection.text());
        const auto log = freshFile(".strace");
        Command command(injected(injection, log) + connectTo(server.target(), secureClient()),
                        Command::Input::text("hello"));
        const Outcome outcome = runToEnd(command);
        expectClearEnd(outcome);
        EXPECT_EQ(outcome.status != 0, wasHit(log)) << outcome.errors;
        if (!wasHit(log)) {
            EXPECT_GT(when, 1);
            return;
        }
    }
}

TEST(SystemCallsOfExamples, overlappedServerWithoutAThreadServesAllTheSameOrDoesNotStart) {
    if (const std::string reason = tellWhyNoStrace(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const Words configuration = secureServer(pki::localhostElliptic);
    const Words plain = {example("overlapped_server"), "0", iniFile(configuration), "Tested",
                         pki::folder().string(),       "2"};
    for (int when = 1;; ++when) {
        const auto log = freshFile(".strace");
        Command server(injected({"clone,clone3", "EAGAIN", when}, log) + plain);
        const std::string ready = "port ";
        if (!server.shows(ready)) { // a thread of the port is missing
            EXPECT_EQ(server.exitStatus(), 1);
            continue;
        }
        const std::string line = server.output();
        const int port = std::stoi(line.substr(line.find(ready) + ready.size()));
        const std::string target = "localhost:" + std::to_string(port);
        for (int i = 0; i < 2; ++i) {
            const Outcome outcome =
                runTool(Words{"connect", target} + secureClient(), Command::Input::text("hello"));
            EXPECT_EQ(outcome.output, "hello") << outcome.errors;
        }
        EXPECT_EQ(server.exitStatus(), 0) << server.errors();
        if (!wasHit(log)) {
            EXPECT_GT(when, 3) << "a thread of the port and two handshakes";
            return;
        }
    }
}

} // namespace
} // namespace VexaSsl::test
