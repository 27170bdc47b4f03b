// AcceptEx: the connection that replaces the accept socket, the addresses, the first data.
#include "contract/sockets/AcceptCall.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace VexaSsl::test {

using AcceptEx = ContractTest;

TEST_F(AcceptEx, waitingConnectionIsAcceptedAtOnce) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    const ScopedEvent event;
    Accept accept(0, event.get());
    EXPECT_TRUE(startedReady(accept.post(listener)));
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    sendText(client, "hello");
    EXPECT_EQ(receiveText(accept.socket, 5), "hello");
    sendText(accept.socket, "hello back");
    EXPECT_EQ(receiveText(client, 10), "hello back");
}

TEST_F(AcceptEx, acceptCompletesWhenTheHostWaitsForItsEvent) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(0, event.get());
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    EXPECT_EQ(accept.finish(listener, false), WSA_IO_INCOMPLETE);
    Socket client;
    const std::jthread peer([&] {
        yieldToOtherThreads();
        client = connectedTo(listener);
        sendText(client, "x");
    });
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(accept.finish(listener, false), 0);
    EXPECT_EQ(accept.count, 0U);
    EXPECT_EQ(receiveText(accept.socket, 1), "x");
}

TEST_F(AcceptEx, acceptCompletesOnTheListenersPort) {
    const Socket listener = listenOnLoopback();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 77));
    Accept accept;
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const Socket client = connectedTo(listener);
    const Dequeued got = dequeue(port.get());
    EXPECT_NE(got.result, FALSE);
    EXPECT_EQ(got.key, 77U);
    EXPECT_EQ(got.overlapped, &accept.overlapped);
}

TEST_F(AcceptEx, outputHoldsDataThenLocalThenRemoteAddress) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    sendText(client, "data");
    Accept accept(16);
    const int posted = accept.post(listener);
    ASSERT_TRUE(posted == 0 || posted == WSA_IO_PENDING);
    ASSERT_EQ(accept.finish(listener, true), 0);
    EXPECT_EQ(accept.count, 4U);
    EXPECT_EQ(accept.output.substr(0, 4), "data");
    EXPECT_EQ(accept.local().sin_family, AF_INET);
    EXPECT_EQ(accept.local().sin_port, addressOf(listener).sin_port);
    EXPECT_EQ(accept.remote().sin_family, AF_INET);
    EXPECT_EQ(accept.remote().sin_port, addressOf(client).sin_port);
}

TEST_F(AcceptEx, acceptedSocketKeepsModeAndTimeouts) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Accept timed;
    setReceiveTimeout(timed.socket, std::chrono::milliseconds(20));
    ASSERT_TRUE(startedReady(timed.post(listener)));
    ASSERT_EQ(timed.finish(listener, true), 0);
    char byte = 0;
    EXPECT_EQ(platform::recv(timed.socket.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAETIMEDOUT);
    const Socket second = connectedTo(listener);
    Accept nonBlocking;
    setNonBlocking(nonBlocking.socket);
    ASSERT_TRUE(startedReady(nonBlocking.post(listener)));
    ASSERT_EQ(nonBlocking.finish(listener, true), 0);
    EXPECT_EQ(platform::recv(nonBlocking.socket.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEWOULDBLOCK);
}

TEST_F(AcceptEx, acceptWaitsForFirstDataWhenAsked) {
    const Socket listener = listenOnLoopback();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 1));
    Accept accept(8);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const Socket client = connectedTo(listener);
    EXPECT_EQ(dequeue(port.get(), 50).overlapped, nullptr); // connected, but silent
    sendText(client, "first");
    const Dequeued got = dequeue(port.get());
    EXPECT_EQ(got.overlapped, &accept.overlapped);
    EXPECT_EQ(got.transferred, 5U);
    EXPECT_EQ(accept.output.substr(0, 5), "first");
}

TEST_F(AcceptEx, silentConnectionDoesNotDelayTheNext) {
    const Socket listener = listenOnLoopback();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 1));
    Accept first(8);
    Accept second(8);
    ASSERT_EQ(first.post(listener), WSA_IO_PENDING);
    ASSERT_EQ(second.post(listener), WSA_IO_PENDING);
    const Socket silent = connectedTo(listener);
    const Socket talking = connectedTo(listener);
    sendText(talking, "b");
    EXPECT_EQ(dequeue(port.get()).overlapped, &second.overlapped);
    sendText(silent, "a");
    EXPECT_EQ(dequeue(port.get()).overlapped, &first.overlapped);
}

TEST_F(AcceptEx, firstDataMayBeWaitedForWithAnEvent) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(8, event.get());
    const Socket client = connectedTo(listener);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    EXPECT_EQ(event.wait(20), WSA_WAIT_TIMEOUT);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(client, "late");
    });
    EXPECT_EQ(event.wait(), WSA_WAIT_EVENT_0);
    EXPECT_EQ(accept.finish(listener, false), 0);
    EXPECT_EQ(accept.count, 4U);
}

TEST_F(AcceptEx, firstDataMayBeWaitedForWithTheResult) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Accept accept(8);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(client, "late");
    });
    EXPECT_EQ(accept.finish(listener, true), 0);
    EXPECT_EQ(accept.count, 4U);
}

TEST_F(AcceptEx, connectionClosedBeforeFirstDataGivesNoBytes) {
    const Socket listener = listenOnLoopback();
    Accept accept(8);
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    Socket client = connectedTo(listener);
    client.close();
    EXPECT_EQ(accept.finish(listener, true), 0);
    EXPECT_EQ(accept.count, 0U);
}

TEST_F(AcceptEx, acceptsCompleteInOrderOfPosting) {
    const Socket listener = listenOnLoopback();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 1));
    std::vector<std::unique_ptr<Accept>> accepts;
    for (int i = 0; i < 5; ++i) {
        accepts.push_back(std::make_unique<Accept>());
        ASSERT_EQ(accepts.back()->post(listener), WSA_IO_PENDING);
    }
    std::vector<Socket> clients;
    for (const auto& accept : accepts) {
        clients.push_back(connectedTo(listener));
        EXPECT_EQ(dequeue(port.get()).overlapped, &accept->overlapped);
        EXPECT_EQ(accept->remote().sin_port, addressOf(clients.back()).sin_port);
    }
}

TEST_F(AcceptEx, acceptedSocketReceivesOverlapped) {
    const Socket listener = listenOnLoopback();
    const ScopedPort port;
    ASSERT_TRUE(port.bind(listener, 1));
    Accept accept;
    ASSERT_TRUE(port.bind(accept.socket, 2)); // before there is a connection
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const Socket client = connectedTo(listener);
    EXPECT_EQ(dequeue(port.get()).key, 1U);
    Receive receive(8);
    ASSERT_EQ(receive.post(accept.socket), WSA_IO_PENDING);
    sendText(client, "x");
    const Dequeued got = dequeue(port.get());
    EXPECT_EQ(got.key, 2U);
    EXPECT_EQ(got.overlapped, &receive.overlapped);
}

TEST_F(AcceptEx, acceptRefusesInvalidArguments) {
    const Socket listener = listenOnLoopback();
    const Socket unbound = tcpSocket();
    const Pair pair = connectedPair();
    std::array<char, 256> output{};
    DWORD count = 0;
    OVERLAPPED overlapped{};
    const auto post = [&](SOCKET listening, SOCKET accepting, void* buffer, DWORD local,
                          DWORD remote, OVERLAPPED* structure) {
        platform::WSASetLastError(0);
        EXPECT_EQ(
            platform::AcceptEx(listening, accepting, buffer, 0, local, remote, &count, structure),
            FALSE);
        return lastError();
    };
    const SOCKET good = listener.get();
    const SOCKET place = unbound.get();
    char* const buffer = output.data();
    constexpr DWORD space = addressSpace;
    EXPECT_EQ(post(good, place, buffer, space, space, nullptr), WSA_INVALID_PARAMETER);
    EXPECT_EQ(post(good, place, buffer, space - 1, space, &overlapped), WSAEFAULT);
    EXPECT_EQ(post(good, place, buffer, space, space - 1, &overlapped), WSAEFAULT);
    EXPECT_EQ(post(good, place, nullptr, space, space, &overlapped), WSAEFAULT);
    EXPECT_EQ(post(good, INVALID_SOCKET, buffer, space, space, &overlapped), WSAENOTSOCK);
    EXPECT_EQ(post(INVALID_SOCKET, place, buffer, space, space, &overlapped), WSAENOTSOCK);
    EXPECT_EQ(post(place, good, buffer, space, space, &overlapped), WSAEINVAL);
    EXPECT_EQ(post(good, good, buffer, space, space, &overlapped), WSAEINVAL);
    EXPECT_EQ(post(good, pair.server.get(), buffer, space, space, &overlapped), WSAEINVAL);
}

TEST_F(AcceptEx, acceptSocketOfPendingAcceptIsInvalid) {
    const Socket listener = listenOnLoopback();
    Accept accept;
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    std::array<char, 256> output{};
    DWORD count = 0;
    OVERLAPPED overlapped{};
    EXPECT_EQ(platform::AcceptEx(listener.get(), accept.socket.get(), output.data(), 0,
                                 addressSpace, addressSpace, &count, &overlapped),
              FALSE);
    EXPECT_EQ(lastError(), WSAEINVAL);
    const Socket client = connectedTo(listener);
    EXPECT_EQ(accept.finish(listener, true), 0);
}

} // namespace VexaSsl::test
