// Where the want of memory ends the process, and where it must not: the operations of a strategy
// can't throw, so what nobody catches inside them is the end.
#include "faults/Scenario.h"

#include "integration/support/LogMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;

// A stack without a connection, on whose next operation memory is short.
class StackShortOfMemory {
public:
    StackShortOfMemory(const Options& options, Watch::Plan plan)
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
const Watch::Plan firstOnly{.failingAllocation = 0};
const Watch::Plan allFromNowOn{.failingAllocation = 0, .noMemoryFromThenOn = true};

char bytes[] = "text";
WSABUF buffer{4, bytes};
DWORD count = 0;

void endOf(const Options& options, const Watch::Plan& plan,
           const std::function<void(ISocketStrategy&)>& operation) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(StackShortOfMemory(options, plan).perform(operation), "terminate called");
}

TEST(EndOfMemory, logLayerThatCannotTellOfASendEndsTheProcess) {
    endOf(logLayers, firstOnly,
          [](ISocketStrategy& stack) { stack.send(INVALID_SOCKET, bytes, 4, 0); });
}

TEST(EndOfMemory, logLayerThatCannotTellOfAReceiveEndsTheProcess) {
    endOf(logLayers, firstOnly,
          [](ISocketStrategy& stack) { stack.recv(INVALID_SOCKET, bytes, 4, 0); });
}

TEST(EndOfMemory, logLayerThatCannotTellOfManyBuffersEndsTheProcess) {
    endOf(logLayers, firstOnly, [](ISocketStrategy& stack) {
        stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
}

TEST(EndOfMemory, logLayerThatCannotTellOfACompletionEndsTheProcess) {
    endOf(logLayers, firstOnly,
          [](ISocketStrategy& stack) { stack.completeWSARecv(0, &count, nullptr); });
}

TEST(EndOfMemory, refusedInitialReadThatCannotBeToldOfEndsTheProcess) {
    endOf(encryption, firstOnly, [](ISocketStrategy& stack) {
        stack.AcceptEx(INVALID_SOCKET, INVALID_SOCKET, bytes, 1, 0, 0, &count, nullptr);
    });
}

TEST(EndOfMemory, failureThatCannotBeToldOfEndsTheProcess) {
    endOf(encryption, allFromNowOn, [](ISocketStrategy& stack) {
        stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
}

TEST(EndOfMemory, failureThatCanBeToldOfIsAnOrdinaryOne) {
    StackShortOfMemory host(encryption, firstOnly);
    int result = 0;
    host.perform([&](ISocketStrategy& stack) {
        result = stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_THAT(host.log.lines, ElementsAre(error(L"A memory allocation failed. std::bad_alloc")));
}

// The line on the store is lost, nothing else.
TEST(EndOfMemory, connectionIsReleasedWithoutAnyMemory) {
    for (const char* name : {"client", "server that authenticates", "server that upgrades"}) {
        const Scenario& played = scenario(name);
        const Course base = measured(played);
        std::size_t first = 0;
        while (base.allocations.at(first).steps != base.outcomes.size()) {
            ++first;
        }
        const Course course = run(played, {.failingAllocation = first, .noMemoryFromThenOn = true});
        EXPECT_EQ(course.trouble, "") << name;
        EXPECT_EQ(course.lines.size() + 1, base.lines.size()) << name;
    }
}

} // namespace
} // namespace VexaSsl::test
