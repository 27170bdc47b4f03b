// Where lack of memory ends the process, and where it must not: the operations of a strategy are
// noexcept, so an exception that they don't catch terminates.
#include "faults/Scenario.h"

#include "integration/support/LogMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;

// A stack without a connection whose next operation runs out of memory.
class StackWithoutMemory {
public:
    StackWithoutMemory(const Options& options, Watch::Plan plan)
        : watch(std::move(plan), [this] { return log.lines.size(); }) {
        const auto config = constructDefaultSslConfiguration(log, L"Faults");
        for (const auto& [name, value] : options) {
            config->setValue(name, value);
        }
        stack = instantiateSocketStrategy(log, *config);
        log.lines.clear();
    }

    void perform(const std::function<void(ISocketStrategy&)>& operation) {
        const Watch::Scope scope(watch);
        operation(*stack);
    }

    StepLog log;
    Watch watch;
    std::unique_ptr<ISocketStrategy> stack;
};

const Options logLayers = {{L"InjectLogLayers", L"True"}};
const Options encryption = {{L"UseEncryption", L"True"}};
const Watch::Plan firstAllocation{.failingAllocation = 0};
const Watch::Plan allAllocations{.failingAllocation = 0, .allLaterFail = true};

char bytes[] = "text";
WSABUF buffer{4, bytes};
DWORD count = 0;

void expectTermination(const Options& options, const Watch::Plan& plan,
                       const std::function<void(ISocketStrategy&)>& operation) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(StackWithoutMemory(options, plan).perform(operation), "terminate called");
}

TEST(EndOfMemory, logLayerWithoutMemoryForSendEndsTheProcess) {
    expectTermination(logLayers, firstAllocation,
                      [](ISocketStrategy& stack) { stack.send(INVALID_SOCKET, bytes, 4, 0); });
}

TEST(EndOfMemory, logLayerWithoutMemoryForRecvEndsTheProcess) {
    expectTermination(logLayers, firstAllocation,
                      [](ISocketStrategy& stack) { stack.recv(INVALID_SOCKET, bytes, 4, 0); });
}

TEST(EndOfMemory, logLayerWithoutMemoryForWsaSendEndsTheProcess) {
    expectTermination(logLayers, firstAllocation, [](ISocketStrategy& stack) {
        stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
}

TEST(EndOfMemory, logLayerWithoutMemoryForCompletionEndsTheProcess) {
    expectTermination(logLayers, firstAllocation,
                      [](ISocketStrategy& stack) { stack.completeWSARecv(0, &count, nullptr); });
}

TEST(EndOfMemory, unloggedRefusalOfInitialReadEndsTheProcess) {
    expectTermination(encryption, firstAllocation, [](ISocketStrategy& stack) {
        stack.AcceptEx(INVALID_SOCKET, INVALID_SOCKET, bytes, 1, 0, 0, &count, nullptr);
    });
}

TEST(EndOfMemory, unloggedFailureEndsTheProcess) {
    expectTermination(encryption, allAllocations, [](ISocketStrategy& stack) {
        stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
}

TEST(EndOfMemory, loggedFailureIsReturned) {
    StackWithoutMemory host(encryption, firstAllocation);
    int result = 0;
    host.perform([&](ISocketStrategy& stack) {
        result = stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_THAT(host.log.lines, ElementsAre(error(L"A memory allocation failed. std::bad_alloc")));
}

// Only the line about the store is lost.
TEST(EndOfMemory, connectionIsReleasedWithoutMemory) {
    for (const char* name : {"client", "server that authenticates", "server that upgrades"}) {
        const Scenario& scenario = scenarioNamed(name);
        const RunResult base = baseRun(scenario);
        std::size_t first = 0;
        while (base.allocations.at(first).steps != base.outcomes.size()) {
            ++first;
        }
        const RunResult result = run(scenario, {.failingAllocation = first, .allLaterFail = true});
        EXPECT_EQ(result.fault, "") << name;
        EXPECT_EQ(result.lines.size() + 1, base.lines.size()) << name;
    }
}

} // namespace
} // namespace VexaSsl::test
