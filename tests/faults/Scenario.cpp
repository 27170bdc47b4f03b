#include "faults/Scenario.h"

#include "fakes/Secrets.h"
#include "faults/HealthyPeer.h"

#include "integration/support/System.h"

#include <gtest/gtest.h>

#include <netinet/tcp.h>

#include <array>
#include <thread>

namespace VexaSsl::test {

std::unique_ptr<IConfig> configured(ILog& log, const Options& options) {
    auto config = constructDefaultSslConfiguration(log, L"Faults");
    config->setValue(L"UseEncryption", L"True");
    config->setValue(L"MinimumSeverityToLog", L"Debug");
    for (const auto& [name, value] : options) {
        config->setValue(name, value);
    }
    return config;
}

namespace {

bool isShutDown(SOCKET socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    ::getsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_INFO, &info, &size);
    return info.tcpi_state != TCP_ESTABLISHED && info.tcpi_state != TCP_CLOSE_WAIT;
}

// A failed handshake shuts the connection down, except for a failed startOtls.
void checkShutdown(EndUnderTest& end, const StepOutcome& outcome) {
    const bool failed = outcome.result == -1;
    const bool aborts = outcome.kind == Kind::connect || outcome.kind == Kind::accept ||
                        outcome.kind == Kind::completeAccept;
    if (failed && aborts && outcome.error == WSAECONNABORTED && !isShutDown(end.socket.handle())) {
        end.addFault("the connection is not shut down");
    }
    if (failed && outcome.kind == Kind::startTls && isShutDown(end.socket.handle())) {
        end.addFault("the connection is shut down");
    }
}

void checkHoldings(EndUnderTest& end) {
    constexpr std::array<const char*, static_cast<std::size_t>(Held::count)> names = {
        "credentials", "contexts", "certificates", "stores", "chains", "package memory", "texts"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (end.watch.holdings[i] != 0) {
            end.addFault(std::string(names[i]) +
                         " still held: " + std::to_string(end.watch.holdings[i]));
        }
    }
}

void playSteps(const Scenario& scenario, EndUnderTest& end) {
    for (const Step& step : scenario.steps) {
        if (!step(end)) {
            break;
        }
    }
    if (!end.outcomes.empty()) {
        checkShutdown(end, end.last());
    }
    end.perform(Kind::release, [&] {
        end.stack.reset();
        return 0;
    });
    checkHoldings(end);
    end.socket.close();
}

// Starts the peer if the scenario has one.
std::jthread startPeer(const Scenario& scenario, const Listener& listener, std::string& fault) {
    if (!scenario.hasPeer) {
        return {};
    }
    return std::jthread([&] {
        if (!playHealthyPeer(scenario, listener)) {
            fault = "the peer timed out; ";
        }
    });
}

RunResult play(const Scenario& scenario, const Watch::Plan& plan) {
    const Listener listener;
    std::string peerFault;
    EndUnderTest end(plan, listener);
    end.config = configured(end.log, scenario.options);
    end.log.lines.clear();
    {
        const std::jthread peer = startPeer(scenario, listener, peerFault);
        playSteps(scenario, end);
        platform::shutdown(listener.handle(), SD_BOTH); // ends a blocked accept
    }
    return {.lines = std::move(end.log.lines),
            .outcomes = std::move(end.outcomes),
            .calls = std::move(end.watch.calls),
            .allocations = std::move(end.watch.allocations),
            .allocationCount = end.watch.allocationCount,
            .failedAllocation = end.watch.failedAllocation,
            .fault = end.fault + peerFault};
}

} // namespace

namespace {

// Replaces the number that ends at end, if end is a position.
void replaceNumber(std::wstring& text, std::size_t end, const wchar_t* mark) {
    if (end != std::wstring::npos) {
        const std::size_t start = text.rfind(L'[', end) + 1;
        text.replace(start, end - start, mark);
    }
}

} // namespace

void StepLog::log(Severity severity, const std::wstring& text) {
    const Watch::Aside aside;
    secrets::searchIn(text);
    std::wstring shown = text;
    if (const std::size_t at = shown.find(L"socket ["); at != std::wstring::npos) {
        replaceNumber(shown, shown.find(L']', at), L"S");
    }
    replaceNumber(shown, shown.find(L"] byte message"), L"N");
    lines.push_back({severity, shown});
}

namespace {

void shortenReceiveTimeout(SOCKET socket) {
    const timeval soon{0, 2000};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
}

} // namespace

EndUnderTest::EndUnderTest(Watch::Plan plan, const Listener& listener)
    : listener(listener), watch(std::move(plan), [this] { return log.lines.size(); }) {
    // A failing handshake may end in a receive for which no bytes will come.
    watch.whenHandshakeFails = [this] {
        shortenReceiveTimeout(socket.handle() != INVALID_SOCKET ? socket.handle() : watch.accepted);
    };
}

std::int64_t EndUnderTest::perform(Kind kind, const std::function<std::int64_t()>& operation) {
    StepOutcome outcome{
        .kind = kind, .firstLine = log.lines.size(), .firstCall = watch.calls.size()};
    const int before = watch.breakpoints;
    ++watch.steps;
    platform::WSASetLastError(untouchedError);
    try {
        const Watch::Scope scope(watch);
        outcome.result = operation();
    } catch (const std::exception& exception) {
        outcome.result = -1;
        outcome.thrown = exception.what();
    }
    outcome.error = platform::WSAGetLastError();
    outcome.breakpoints = watch.breakpoints - before;
    outcomes.push_back(outcome);
    return outcome.result;
}

RunResult run(const Scenario& scenario, const Watch::Plan& plan) {
    const long blocks = blocksHeld();
    const std::size_t descriptors = openDescriptors();
    RunResult result = play(scenario, plan);
    if (blocksHeld() != blocks) {
        result.fault += "blocks still held: " + std::to_string(blocksHeld() - blocks) + "; ";
    }
    if (openDescriptors() != descriptors) {
        result.fault += "descriptors still open; ";
    }
    return result;
}

RunResult baseRun(const Scenario& scenario) {
    run(scenario, {});
    RunResult base = run(scenario, {.keepAllocations = true});
    EXPECT_EQ(base.fault, "") << scenario.name;
    for (StepOutcome& outcome : base.outcomes) {
        outcome.error = anyError;
    }
    return base;
}

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

} // namespace VexaSsl::test
