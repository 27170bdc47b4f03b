// Results of socket calls that fail at once, of closing, and of waits that run routines.
#include "contract/sockets/Loopback.h"

#include <chrono>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using SocketResult = ContractTest;

TEST_F(SocketResult, transfersOnUnconnectedSocketFail) {
    const Socket unconnected = tcpSocket();
    char byte = 'x';
    WSABUF view{1, &byte};
    WSAOVERLAPPED overlapped{};
    DWORD count = 0;
    DWORD flags = 0;
    for (WSAOVERLAPPED* const structure : {static_cast<WSAOVERLAPPED*>(nullptr), &overlapped}) {
        EXPECT_EQ(platform::WSASend(unconnected.get(), &view, 1, &count, 0, structure, nullptr),
                  SOCKET_ERROR);
        EXPECT_EQ(
            platform::WSARecv(unconnected.get(), &view, 1, &count, &flags, structure, nullptr),
            SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAENOTCONN);
    }
}

TEST_F(SocketResult, receiveWaitsForAllBytesOnlyWhenAsked) {
    const Pair pair = connectedPair();
    setReceiveTimeout(pair.server, std::chrono::seconds(60));
    const auto start = std::chrono::steady_clock::now();
    sendText(pair.client, "abc");
    char buffer[100];
    EXPECT_EQ(platform::recv(pair.server.get(), buffer, sizeof buffer, 0), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(SocketResult, closingSucceeds) {
    EXPECT_EQ(host::closesocket(host::socket(AF_INET, SOCK_STREAM, 0)), 0);
}

TEST_F(SocketResult, connectionDeferredByOneListenerIsNotReadyOnAnother) {
    const Socket deferring = listenOnLoopback();
    const Socket other = listenOnLoopback();
    const Socket client = connectedTo(deferring);
    const auto defer = [](WSABUF*, WSABUF*, QOS*, QOS*, WSABUF*, WSABUF*, GROUP*, DWORD_PTR) {
        return CF_DEFER;
    };
    EXPECT_EQ(platform::WSAAccept(deferring.get(), nullptr, nullptr, defer, 0), INVALID_SOCKET);
    fd_set readable = fdSetOf({&other});
    const timeval noTime{};
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &noTime), 0);
}

TEST_F(SocketResult, nameBufferOfNoLengthIsNotWritten) {
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    wchar_t node[1] = {L'x'};
    wchar_t service[4];
    EXPECT_EQ(platform::GetNameInfoW(reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback,
                                     node, 0, service, 4, 0x8),
              0);
    EXPECT_EQ(node[0], L'x');
    EXPECT_STREQ(service, L"0");
}

TEST_F(SocketResult, dequeueRefusesEachNullOutput) {
    const ScopedPort port;
    DWORD transferred = 0;
    ULONG_PTR key = 0;
    OVERLAPPED* overlapped = nullptr;
    EXPECT_EQ(host::GetQueuedCompletionStatus(port.get(), nullptr, &key, &overlapped, 0), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    EXPECT_EQ(host::GetQueuedCompletionStatus(port.get(), &transferred, nullptr, &overlapped, 0),
              FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
    EXPECT_EQ(host::GetQueuedCompletionStatus(port.get(), &transferred, &key, nullptr, 0), FALSE);
    EXPECT_EQ(lastError(), WSA_INVALID_PARAMETER);
}

// A routine that sends has another one due, which belongs to the next wait.
thread_local int calls = 0;
thread_local SOCKET sender = INVALID_SOCKET;
thread_local WSAOVERLAPPED second{};

void sendOnce(DWORD, DWORD, WSAOVERLAPPED*, DWORD flags) {
    EXPECT_EQ(flags, 0U);
    char byte = 'x';
    WSABUF view{1, &byte};
    if (++calls == 1) {
        platform::WSASend(sender, &view, 1, nullptr, 0, &second, sendOnce);
    }
}

TEST_F(SocketResult, routineDueInRoutineRunsInTheNextWait) {
    const Pair pair = connectedPair();
    calls = 0;
    sender = pair.client.get();
    char byte = 'x';
    WSABUF view{1, &byte};
    WSAOVERLAPPED first{};
    ASSERT_EQ(platform::WSASend(sender, &view, 1, nullptr, 0, &first, sendOnce), 0);
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(host::SleepEx(0, TRUE), WSA_WAIT_IO_COMPLETION);
    EXPECT_EQ(calls, 2);
}

} // namespace
} // namespace VexaSsl::test
