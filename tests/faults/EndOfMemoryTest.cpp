// Lack of memory ends no operation of an encrypting stack: the line about it is dropped if there is
// no memory for it either. A log layer, which only adds lines, ends the process.
#include "faults/Scenario.h"

#include "integration/support/LogMatchers.h"
#include "platform/contract/Winsock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
DWORD flags = 0;

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

TEST(EndOfMemory, loggedFailureIsReturned) {
    StackWithoutMemory host(encryption, firstAllocation);
    int result = 0;
    host.perform([&](ISocketStrategy& stack) {
        result = stack.WSASend(INVALID_SOCKET, &buffer, 1, &count, 0, nullptr, nullptr);
    });
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_THAT(host.log.lines, ElementsAre(error(L"A memory allocation failed. std::bad_alloc")));
}

// An operation that fails without memory for its line.
struct UnloggedFailure {
    const char* name;
    std::function<std::int64_t(ISocketStrategy&)> operation;
    std::int64_t result;
    int error;

    friend void PrintTo(const UnloggedFailure& tested, std::ostream* out) { *out << tested.name; }
};

class FailureWithoutMemory : public ::testing::TestWithParam<UnloggedFailure> {};

TEST_P(FailureWithoutMemory, isReturnedWithoutItsLine) {
    StackWithoutMemory host(encryption, allAllocations);
    platform::WSASetLastError(untouchedError);
    std::int64_t result = 0;
    host.perform([&](ISocketStrategy& stack) { result = GetParam().operation(stack); });
    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(platform::WSAGetLastError(), GetParam().error);
    EXPECT_THAT(host.log.lines, IsEmpty());
}

// Not a socket, so shutting it down fails, which makes another line.
constexpr SOCKET notASocket = 0x7FFFFFF0;

BOOL acceptWithInitialRead(ISocketStrategy& stack) {
    return stack.AcceptEx(INVALID_SOCKET, notASocket, bytes, 1, 0, 0, &count, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    EndOfMemory, FailureWithoutMemory,
    ::testing::Values(UnloggedFailure{"refused AcceptEx", acceptWithInitialRead, FALSE, WSAEINVAL},
                      UnloggedFailure{"completeAcceptEx",
                                      [](ISocketStrategy& stack) {
                                          acceptWithInitialRead(stack);
                                          return stack.completeAcceptEx();
                                      },
                                      SOCKET_ERROR, WSAECONNABORTED},
                      UnloggedFailure{"connect",
                                      [](ISocketStrategy& stack) {
                                          return stack.connect(notASocket, nullptr, 0);
                                      },
                                      SOCKET_ERROR, WSAECONNABORTED},
                      UnloggedFailure{"WSASend",
                                      [](ISocketStrategy& stack) {
                                          return stack.WSASend(notASocket, &buffer, 1, &count, 0,
                                                               nullptr, nullptr);
                                      },
                                      SOCKET_ERROR, untouchedError},
                      UnloggedFailure{"WSARecv",
                                      [](ISocketStrategy& stack) {
                                          return stack.WSARecv(notASocket, &buffer, 1, &count,
                                                               &flags, nullptr, nullptr);
                                      },
                                      SOCKET_ERROR, untouchedError}));

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
