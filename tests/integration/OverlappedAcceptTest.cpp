// AcceptEx and completeAcceptEx.
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

namespace VexaSsl::test {
namespace {

TEST(OverlappedAccept, acceptThroughACompletionPortIsSecured) {
    const Listener listener;
    Peer server;
    server.stack = instantiateSocketStrategy(
        *server.log, *Settings::serverSending(pki::localhost).load(*server.log));
    server.socket = makeSocket();
    const HANDLE port = platform::CreateIoCompletionPort(platform::socketHandle(listener.handle()),
                                                         platform::noHandle, 5, 0);
    ASSERT_NE(port, platform::noHandle);
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize}> addresses{};
    OVERLAPPED overlapped{};
    DWORD count = 0;
    const BOOL done =
        server.stack->AcceptEx(listener.handle(), server.socket.handle(), addresses.data(), 0,
                               addressSize, addressSize, &count, &overlapped);
    EXPECT_TRUE(done == TRUE || platform::WSAGetLastError() == WSA_IO_PENDING);
    Peer client;
    std::jthread calling([&] { client = connectPeer(listener.port(), Settings::encrypted()); });
    ULONG_PTR key = 0;
    OVERLAPPED* finished = nullptr;
    EXPECT_EQ(
        platform::GetQueuedCompletionStatus(port, &count, &key, &finished, timeoutMilliseconds),
        TRUE);
    setTimeouts(server.socket.handle());
    EXPECT_EQ(server.stack->completeAcceptEx(), 0);
    calling.join();
    ASSERT_TRUE(client.established());
    EXPECT_TRUE(client.sendAll("hello"));
    EXPECT_EQ(server.receiveAll(5), "hello");
    platform::CloseHandle(port);
}

TEST(OverlappedAccept, initialReadIsRefused) {
    SharedLog log;
    const auto stack =
        instantiateSocketStrategy(log, *Settings::serverSending(pki::localhost).load(log));
    const Listener listener;
    const HostSocket socket = makeSocket();
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize} + 1> output{};
    DWORD received = 0;
    Overlapped overlapped;
    EXPECT_EQ(stack->AcceptEx(listener.handle(), socket.handle(), output.data(), 1, addressSize,
                              addressSize, &received, overlapped.get()),
              FALSE);
    EXPECT_EQ(platform::WSAGetLastError(), WSAEINVAL);
    EXPECT_EQ(log.count(Severity::Error,
                        L"AcceptEx cannot be secured if it is asked to do the initial read"),
              1U);
}

TEST(OverlappedAccept, completionWithoutAnAcceptFailsWithoutALine) {
    SharedLog log;
    const auto stack =
        instantiateSocketStrategy(log, *Settings::serverSending(pki::localhost).load(log));
    log.clear();
    EXPECT_EQ(stack->completeAcceptEx(), SOCKET_ERROR);
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNABORTED);
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
} // namespace VexaSsl::test
