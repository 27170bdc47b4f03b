// What the host's calls return when a system call fails.
#include "contract/sockets/AcceptCall.h"
#include "systemcalls/FailingCalls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

namespace VexaSsl::test {
namespace {

using FailingCall = ContractTest;

constexpr bool onlyFirst = false;
constexpr bool every = true;

// Returns 0, or the last error if the work fails, while the first call or every call of a function
// fails. The work returns whether it succeeded.
template <typename Work>
int errorOf(std::string_view function, int systemError, bool allFail, Work work) {
    FaultPlan plan;
    plan.at = 0;
    plan.fault.number = systemError;
    plan.everyOneFrom = allFail;
    plan.only = function;
    platform::WSASetLastError(0);
    bool succeeds = false;
    {
        const Armed armed(plan);
        succeeds = work();
    }
    EXPECT_TRUE(plan.hasHit()) << function;
    return succeeds ? 0 : lastError();
}

struct Failure {
    int systemError;
    bool allFail;
    int expected;
};

TEST_F(FailingCall, interruptedOrAbortedAcceptIsRepeated) {
    for (const Failure& failure :
         {Failure{EINTR, onlyFirst, 0}, {ECONNABORTED, onlyFirst, 0}, {EMFILE, every, WSAEMFILE}}) {
        const Socket listener = listenOnLoopback();
        const Socket first = connectedTo(listener);
        const Socket second = connectedTo(listener);
        const auto plain = [&] {
            return Socket(platform::accept(listener.get(), nullptr, nullptr)).isValid();
        };
        Accept accept;
        const auto overlapped = [&] { return accept.post(listener) == 0; };
        EXPECT_EQ(errorOf("accept4", failure.systemError, failure.allFail, plain),
                  failure.expected);
        EXPECT_EQ(errorOf("accept4", failure.systemError, failure.allFail, overlapped),
                  failure.expected);
        if (failure.expected != 0) {
            EXPECT_TRUE(overlapped()); // the accept socket may be used again
        }
    }
}

TEST_F(FailingCall, replacingTheAcceptSocketIsRepeated) {
    for (const Failure& failure :
         {Failure{EINTR, onlyFirst, 0}, {EBUSY, onlyFirst, 0}, {EMFILE, onlyFirst, WSAEMFILE}}) {
        const Socket listener = listenOnLoopback();
        const Socket client = connectedTo(listener);
        Accept accept;
        EXPECT_EQ(errorOf("dup3", failure.systemError, failure.allFail,
                          [&] { return accept.post(listener) == 0; }),
                  failure.expected);
    }
}

// The host may use the listener's blocking mode meanwhile.
TEST_F(FailingCall, listenerWithoutConnectionIsLeftAlone) {
    Accept accept; // outlives the listener, whose closing ends it
    const Socket listener = listenOnLoopback();
    FaultPlan plan;
    plan.at = 0;
    plan.fault.number = EMFILE;
    plan.only = "accept4";
    const Armed armed(plan);
    EXPECT_EQ(accept.post(listener), WSA_IO_PENDING);
    EXPECT_FALSE(plan.hasHit());
}

TEST_F(FailingCall, postingAcceptNeverBlocks) {
    Accept accept;
    const Socket listener = listenOnLoopback();
    setReceiveTimeout(listener, std::chrono::seconds(60));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(errorOf("poll", ENOMEM, onlyFirst, [&] { return accept.post(listener) == 0; }),
              WSA_IO_PENDING);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(FailingCall, connectIsRepeatedOnceForLackOfResources) {
    for (const Failure& failure : {Failure{EINTR, onlyFirst, 0},
                                   {EAGAIN, onlyFirst, 0},
                                   {EAGAIN, every, WSAENOBUFS},
                                   {ENETUNREACH, onlyFirst, WSAENETUNREACH}}) {
        const Socket listener = listenOnLoopback();
        const Socket client = tcpSocket();
        EXPECT_EQ(errorOf("connect", failure.systemError, failure.allFail,
                          [&] { return connectTo(client, addressOf(listener)) == 0; }),
                  failure.expected);
    }
}

TEST_F(FailingCall, interruptedConnectReportsTheOutcome) {
    const sockaddr_in dead = addressOf(listenOnLoopback());
    const Socket client = tcpSocket();
    EXPECT_EQ(errorOf("connect", EINTR, onlyFirst, [&] { return connectTo(client, dead) == 0; }),
              WSAECONNREFUSED);
}

TEST_F(FailingCall, connectStaysInProgressUntilItEnds) {
    const sockaddr_in dead = addressOf(listenOnLoopback());
    for (const auto& [systemError, inExceptSet] :
         {std::pair{EALREADY, 1U}, std::pair{ENETUNREACH, 0U}}) {
        const Socket socket = tcpSocket();
        setNonBlocking(socket);
        ASSERT_EQ(connectTo(socket, dead), SOCKET_ERROR);
        errorOf("connect", systemError, onlyFirst, [&] { return connectTo(socket, dead) == 0; });
        fd_set readable = fdSetOf({&socket});
        fd_set exceptional = fdSetOf({&socket});
        EXPECT_EQ(platform::select(0, &readable, nullptr, &exceptional, &tenSeconds), 1);
        EXPECT_EQ(exceptional.fd_count, inExceptSet);
    }
}

TEST_F(FailingCall, waitForDataIsRepeated) {
    for (const Failure& failure : {Failure{EINTR, onlyFirst, WSAETIMEDOUT},
                                   {EAGAIN, onlyFirst, WSAETIMEDOUT},
                                   {ENOMEM, onlyFirst, WSAENOBUFS}}) {
        const Pair pair = connectedPair();
        setReceiveTimeout(pair.server, std::chrono::milliseconds(10));
        char byte = 0;
        EXPECT_EQ(errorOf("poll", failure.systemError, failure.allFail,
                          [&] { return platform::recv(pair.server.get(), &byte, 1, 0) == 1; }),
                  failure.expected);
    }
}

TEST_F(FailingCall, selectIsRepeated) {
    for (const Failure& failure :
         {Failure{EINTR, onlyFirst, 0}, {EAGAIN, onlyFirst, 0}, {ENOMEM, onlyFirst, WSAENOBUFS}}) {
        const Pair pair = connectedPair();
        fd_set writable = fdSetOf({&pair.server});
        const auto isWritable = [&] {
            return platform::select(0, nullptr, &writable, nullptr, &tenSeconds) == 1;
        };
        EXPECT_EQ(errorOf("poll", failure.systemError, failure.allFail, isWritable),
                  failure.expected);
    }
}

TEST_F(FailingCall, selectWhoseTimeHasPassedReturnsNoSocket) {
    const Pair pair = connectedPair();
    const timeval noTime{};
    fd_set writable = fdSetOf({&pair.server});
    EXPECT_EQ(
        errorOf("poll", EINTR, every,
                [&] { return platform::select(0, nullptr, &writable, nullptr, &noTime) == 0; }),
        0);
    EXPECT_EQ(writable.fd_count, 0U);
}

TEST_F(FailingCall, socketOfUnknownTypeIsSelectable) {
    const Pair pair = connectedPair();
    fd_set writable = fdSetOf({&pair.server});
    const auto isWritable = [&] {
        return platform::select(0, nullptr, &writable, nullptr, &tenSeconds) == 1;
    };
    EXPECT_EQ(errorOf("getsockopt", ENOBUFS, every, isWritable), 0);
}

TEST_F(FailingCall, socketIsMadeAgainAfterSignal) {
    const auto make = [] { return Socket(host::socket(AF_INET, SOCK_STREAM, 0)).isValid(); };
    EXPECT_EQ(errorOf("socket", EINTR, onlyFirst, make), 0);
    EXPECT_EQ(errorOf("socket", EMFILE, onlyFirst, make), WSAEMFILE);
}

TEST_F(FailingCall, closingFreesTheDescriptorInAnyCase) {
    const auto close = [] { return host::closesocket(host::socket(AF_INET, SOCK_STREAM, 0)) == 0; };
    EXPECT_EQ(errorOf("close", EINTR, onlyFirst, close), 0);
    EXPECT_EQ(errorOf("close", ENOBUFS, onlyFirst, close), WSAENOBUFS);
    EXPECT_EQ(errorOf("fstat", ENOMEM, onlyFirst, close), 0);
    EXPECT_EQ(errorOf("fstat", EBADF, onlyFirst, close), WSAENOTSOCK);
}

TEST_F(FailingCall, portIsNotMadeWithoutItsDescriptors) {
    for (const std::string_view function : {"epoll_create1", "eventfd", "epoll_ctl"}) {
        const auto make = [] {
            return host::CreateIoCompletionPort(host::invalidHandle(), host::noHandle, 0, 0) !=
                   nullptr;
        };
        EXPECT_EQ(errorOf(function, EMFILE, onlyFirst, make), WSAEMFILE);
    }
}

TEST_F(FailingCall, operationThatThePortCannotWatchFails) {
    const Pair pair = connectedPair();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(pair.server, 1));
    Receive receive(8);
    EXPECT_EQ(errorOf("epoll_ctl", ENOMEM, every, [&] { return receive.post(pair.server) == 0; }),
              WSA_IO_PENDING);
    EXPECT_EQ(dequeue(port.get(), 0).error, WSAENOBUFS);
}

// Each wait needs a descriptor of its thread.
TEST_F(FailingCall, threadWithoutDescriptorCannotWait) {
    Receive pending(8);
    Receive withRoutine(8);
    const Pair pair = connectedPair();
    const ScopedEvent event;
    ASSERT_EQ(pending.post(pair.server), WSA_IO_PENDING);
    const auto routine = [](DWORD, DWORD, WSAOVERLAPPED*, DWORD) {};
    std::jthread([&] {
        EXPECT_EQ(errorOf("eventfd", EMFILE, every,
                          [&] { return event.wait(0) != host::WSA_WAIT_FAILED; }),
                  WSAEMFILE);
        EXPECT_EQ(errorOf("eventfd", EMFILE, every,
                          [&] { return pending.finish(pair.server, true) == 0; }),
                  WSAEMFILE);
        EXPECT_EQ(errorOf("eventfd", EMFILE, every,
                          [&] { return withRoutine.post(pair.client, routine) == 0; }),
                  WSAEMFILE);
    }).join();
}

TEST_F(FailingCall, lookupIsRepeatedAfterSignal) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    const auto resolve = [&hints] {
        addrinfo* list = nullptr;
        const int result = platform::getaddrinfo("127.0.0.1", nullptr, &hints, &list);
        host::freeaddrinfo(list);
        return result == 0;
    };
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    const auto name = [&loopback] {
        wchar_t node[100];
        return platform::GetNameInfoW(reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback,
                                      node, 100, nullptr, 0, 2) == 0;
    };
    EXPECT_EQ(errorOf("getaddrinfo", EINTR, onlyFirst, resolve), 0);
    EXPECT_EQ(errorOf("getaddrinfo", ENOMEM, onlyFirst, resolve), WSAENOBUFS);
    EXPECT_EQ(errorOf("getnameinfo", EINTR, onlyFirst, name), 0);
    EXPECT_EQ(errorOf("getnameinfo", ENOMEM, onlyFirst, name), WSAENOBUFS);
}

} // namespace
} // namespace VexaSsl::test
