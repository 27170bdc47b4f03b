// select over counted sets, and the operations on the sets.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <limits>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr timeval atOnce{0, 0};

} // namespace

using Select = ContractTest;
using SocketSet = ContractTest;

TEST_F(Select, readySocketsKeepTheirOrder) {
    const Pair one = connectedPair();
    const Pair two = connectedPair();
    const Pair three = connectedPair();
    sendText(one.client, "x");
    sendText(three.client, "x");
    fd_set readable = fdSetOf({&three.server, &two.server, &one.server});
    while (readable.fd_count != 2) { // until both bytes have arrived
        readable = fdSetOf({&three.server, &two.server, &one.server});
        ASSERT_GT(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 0);
    }
    EXPECT_EQ(readable.fd_array[0], three.server.get());
    EXPECT_EQ(readable.fd_array[1], one.server.get());
}

TEST_F(Select, resultCountsAllSets) {
    const Pair pair = connectedPair();
    sendText(pair.client, "x");
    fd_set readable = fdSetOf({&pair.server});
    ASSERT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
    fd_set writable = fdSetOf({&pair.server, &pair.client});
    fd_set exceptional = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &readable, &writable, &exceptional, &tenSeconds), 3);
    EXPECT_EQ(exceptional.fd_count, 0U);
}

TEST_F(Select, timeoutEmptiesTheSets) {
    const Pair pair = connectedPair();
    fd_set readable = fdSetOf({&pair.server, &pair.client});
    const timeval brief{0, 10000};
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &brief), 0);
    EXPECT_EQ(readable.fd_count, 0U);
}

TEST_F(Select, threeNullSetsAreInvalid) {
    EXPECT_EQ(platform::select(0, nullptr, nullptr, nullptr, &atOnce), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(Select, onlyEmptySetsAreInvalid) {
    fd_set empty{};
    EXPECT_EQ(platform::select(0, &empty, &empty, nullptr, &atOnce), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(Select, emptyReadSetWithAnotherSetIsValid) {
    const Pair pair = connectedPair();
    fd_set empty{};
    fd_set writable = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &empty, &writable, nullptr, &tenSeconds), 1);
}

TEST_F(Select, nonSocketFailsAndLeavesTheSets) {
    const Pair pair = connectedPair();
    for (const SOCKET bad : {INVALID_SOCKET, SOCKET{99999}, openNonSocket()}) {
        fd_set readable = fdSetOf({&pair.server});
        host::socketSetAdd(bad, readable);
        EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &atOnce), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAENOTSOCK);
        EXPECT_EQ(readable.fd_count, 2U);
    }
}

TEST_F(Select, countBeyondTheArrayIsInvalid) {
    fd_set broken{};
    broken.fd_count = socketSetCapacity + 1;
    EXPECT_EQ(platform::select(0, &broken, nullptr, nullptr, &atOnce), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(Select, malformedTimeoutIsInvalid) {
    const Pair pair = connectedPair();
    for (const timeval bad :
         {timeval{-1, 0}, timeval{0, -1}, timeval{0, 1000000}, timeval{-1, 2000000}}) {
        fd_set readable = fdSetOf({&pair.server});
        EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &bad), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAEINVAL);
        EXPECT_EQ(readable.fd_count, 1U);
    }
}

TEST_F(Select, nullTimeoutWaitsForever) {
    const Pair pair = connectedPair();
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    fd_set readable = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, nullptr), 1);
}

TEST_F(Select, longestTimeoutDoesNotOverflow) {
    const Pair pair = connectedPair();
    sendText(pair.client, "x");
    fd_set readable = fdSetOf({&pair.server});
    const timeval longest{std::numeric_limits<decltype(timeval::tv_sec)>::max(), 999999};
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &longest), 1);
}

TEST_F(Select, setsTogetherMayExceedTheCapacityOfOne) {
    std::vector<Pair> pairs;
    fd_set readable{};
    fd_set writable{};
    for (unsigned int i = 0; i < socketSetCapacity; ++i) {
        pairs.push_back(connectedPair());
        host::socketSetAdd(pairs.back().client.get(), readable);
        host::socketSetAdd(pairs.back().server.get(), writable);
    }
    EXPECT_EQ(platform::select(0, &readable, &writable, nullptr, &tenSeconds),
              static_cast<int>(socketSetCapacity));
    EXPECT_EQ(readable.fd_count, 0U);
    EXPECT_EQ(writable.fd_count, socketSetCapacity);
}

TEST_F(Select, endOfStreamIsReadable) {
    Pair pair = connectedPair();
    pair.client.close();
    fd_set readable = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
}

TEST_F(Select, resetConnectionIsReadable) {
    Pair pair = connectedPair();
    resetWhenClosed(pair.client);
    pair.client.close();
    fd_set readable = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
}

TEST_F(Select, waitingConnectionMakesListenerReadable) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    fd_set readable = fdSetOf({&listener});
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
}

TEST_F(Select, failedConnectIsInTheExceptionSetOnly) {
    const sockaddr_in dead = addressOf(listenOnLoopback());
    const Socket socket = tcpSocket();
    setNonBlocking(socket);
    ASSERT_EQ(connectTo(socket, dead), SOCKET_ERROR);
    ASSERT_EQ(lastError(), WSAEWOULDBLOCK);
    fd_set readable = fdSetOf({&socket});
    fd_set writable = fdSetOf({&socket});
    fd_set exceptional = fdSetOf({&socket});
    EXPECT_EQ(platform::select(0, &readable, &writable, &exceptional, &tenSeconds), 1);
    EXPECT_EQ(readable.fd_count, 0U);
    EXPECT_EQ(writable.fd_count, 0U);
    EXPECT_EQ(exceptional.fd_count, 1U);
}

TEST_F(Select, resetAfterNonBlockingConnectIsReadable) {
    const Socket listener = listenOnLoopback();
    const Socket socket = tcpSocket();
    setNonBlocking(socket);
    ASSERT_EQ(connectTo(socket, addressOf(listener)), SOCKET_ERROR);
    fd_set writable = fdSetOf({&socket});
    ASSERT_EQ(platform::select(0, nullptr, &writable, nullptr, &tenSeconds), 1);
    Socket server(platform::accept(listener.get(), nullptr, nullptr));
    resetWhenClosed(server);
    server.close();
    fd_set readable = fdSetOf({&socket});
    fd_set exceptional = fdSetOf({&socket});
    EXPECT_EQ(platform::select(0, &readable, nullptr, &exceptional, &tenSeconds), 1);
    EXPECT_EQ(readable.fd_count, 1U);
}

TEST_F(Select, failedConnectEndsTheWaitForWriting) {
    const sockaddr_in dead = addressOf(listenOnLoopback());
    const Socket socket = tcpSocket();
    setNonBlocking(socket);
    EXPECT_EQ(connectTo(socket, dead), SOCKET_ERROR);
    fd_set writable = fdSetOf({&socket});
    EXPECT_EQ(platform::select(0, nullptr, &writable, nullptr, &tenSeconds), 1);
}

TEST_F(SocketSet, setAddsEachSocketOnceUntilFull) {
    fd_set set{};
    for (SOCKET s = 0; s < 100; ++s) {
        host::socketSetAdd(s, set);
        host::socketSetAdd(s, set);
    }
    EXPECT_EQ(set.fd_count, socketSetCapacity);
    EXPECT_EQ(set.fd_array[63], SOCKET{63});
    EXPECT_FALSE(host::socketSetHas(64, set));
}

TEST_F(SocketSet, removingClosesTheGap) {
    fd_set set{};
    for (SOCKET s = 1; s <= 3; ++s) {
        host::socketSetAdd(s, set);
    }
    host::socketSetRemove(2, set);
    host::socketSetRemove(9, set);
    EXPECT_EQ(set.fd_count, 2U);
    EXPECT_EQ(set.fd_array[1], SOCKET{3});
    EXPECT_EQ(platform::__WSAFDIsSet(3, &set), 1);
    EXPECT_EQ(platform::__WSAFDIsSet(2, &set), 0);
    host::socketSetClear(set);
    EXPECT_EQ(platform::__WSAFDIsSet(3, &set), 0);
}

} // namespace VexaSsl::test
