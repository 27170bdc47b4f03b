// send, recv, and WSASend and WSARecv without an overlapped structure.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr int outOfBand = 1;
constexpr int dontRoute = 4;
constexpr int unknownFlag = 0x100; // MSG_WAITALL in some C libraries, undefined in Winsock

} // namespace

using Transfers = ContractTest;
using ScatteredTransfers = ContractTest;

TEST_F(Transfers, bytesArriveInOrderInBothDirections) {
    const Pair pair = connectedPair();
    sendText(pair.client, "question");
    EXPECT_EQ(receiveText(pair.server, 8), "question");
    sendText(pair.server, "answer");
    EXPECT_EQ(receiveText(pair.client, 6), "answer");
}

TEST_F(Transfers, receiveAtEndOfStreamReturnsZero) {
    Pair pair = connectedPair();
    pair.client.close();
    char byte = 'x';
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), 0);
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), 0);
}

TEST_F(Transfers, peekLeavesTheBytes) {
    const Pair pair = connectedPair();
    sendText(pair.client, "abc");
    char bytes[3] = {};
    ASSERT_GT(platform::recv(pair.server.get(), bytes, 3, msgPeek), 0);
    EXPECT_EQ(bytes[0], 'a');
    EXPECT_EQ(receiveText(pair.server, 3), "abc");
}

TEST_F(Transfers, waitAllGathersSingleBytes) {
    const Pair pair = connectedPair();
    const std::jthread peer([&] { sendByteByByte(pair.client, "drop by drop"); });
    char bytes[12] = {};
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 12, msgWaitAll), 12);
    EXPECT_EQ(std::string(bytes, 12), "drop by drop");
}

TEST_F(Transfers, waitAllEndsEarlyAtTheEndOfTheStream) {
    Pair pair = connectedPair();
    sendText(pair.client, "abc");
    pair.client.close();
    char bytes[12] = {};
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 12, msgWaitAll), 3);
}

TEST_F(Transfers, timedOutWaitAllReturnsWhatArrived) {
    const Pair pair = connectedPair();
    setReceiveTimeout(pair.server, std::chrono::milliseconds(50));
    sendText(pair.client, "abc");
    char bytes[12] = {};
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 12, msgWaitAll), 3);
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 12, msgWaitAll), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAETIMEDOUT);
}

TEST_F(Transfers, waitAllCannotPeek) {
    const Pair pair = connectedPair();
    char bytes[2] = {};
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 2, msgWaitAll | msgPeek), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEOPNOTSUPP);
}

TEST_F(Transfers, outOfBandByteIsReceivedSeparately) {
    const Pair pair = connectedPair();
    ASSERT_EQ(platform::send(pair.client.get(), "!", 1, outOfBand), 1);
    fd_set urgent{};
    host::socketSetAdd(pair.server.get(), urgent);
    ASSERT_EQ(platform::select(0, nullptr, nullptr, &urgent, &tenSeconds), 1);
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, outOfBand), 1);
    EXPECT_EQ(byte, '!');
}

TEST_F(Transfers, sendAcceptsDontRoute) {
    const Pair pair = connectedPair();
    EXPECT_EQ(platform::send(pair.client.get(), "x", 1, dontRoute), 1);
    EXPECT_EQ(receiveText(pair.server, 1), "x");
}

TEST_F(Transfers, unknownFlagBitsAreRefused) {
    const Pair pair = connectedPair();
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, unknownFlag), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEOPNOTSUPP);
    EXPECT_EQ(platform::send(pair.server.get(), &byte, 1, unknownFlag), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEOPNOTSUPP);
    EXPECT_EQ(platform::send(pair.server.get(), &byte, 1, msgPeek), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEOPNOTSUPP);
}

TEST_F(Transfers, negativeLengthIsFault) {
    const Pair pair = connectedPair();
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, -1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::send(pair.server.get(), &byte, -1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
}

TEST_F(Transfers, nullBufferIsFault) {
    const Pair pair = connectedPair();
    EXPECT_EQ(platform::recv(pair.server.get(), nullptr, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::send(pair.server.get(), nullptr, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
}

TEST_F(Transfers, sendingNothingSucceeds) {
    const Pair pair = connectedPair();
    EXPECT_EQ(platform::send(pair.client.get(), nullptr, 0, 0), 0);
}

TEST_F(Transfers, transfersRefuseNonSockets) {
    char byte = 0;
    for (const SOCKET s : {INVALID_SOCKET, SOCKET{1} << 40, SOCKET{99999}}) {
        EXPECT_EQ(platform::recv(s, &byte, 1, 0), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAENOTSOCK);
        EXPECT_EQ(platform::send(s, nullptr, 1, 0), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAENOTSOCK);
    }
    EXPECT_EQ(platform::recv(openNonSocket(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

TEST_F(Transfers, receiveOnUnconnectedSocketIsNotConnected) {
    const Socket socket = tcpSocket();
    char byte = 0;
    EXPECT_EQ(platform::recv(socket.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTCONN);
}

TEST_F(Transfers, emptyNonBlockingSocketWouldBlock) {
    const Pair pair = connectedPair();
    setNonBlocking(pair.server);
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEWOULDBLOCK);
}

TEST_F(Transfers, fullNonBlockingSocketWouldBlock) {
    const Pair pair = connectedPair();
    EXPECT_GT(fillUp(pair.client), 0U);
    EXPECT_EQ(platform::send(pair.client.get(), "x", 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEWOULDBLOCK);
}

TEST_F(Transfers, receiveTimeoutKeepsTheConnection) {
    const Pair pair = connectedPair();
    setReceiveTimeout(pair.server, std::chrono::milliseconds(30));
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAETIMEDOUT);
    sendText(pair.client, "x");
    EXPECT_EQ(receiveText(pair.server, 1), "x");
}

TEST_F(Transfers, blockingSendTimesOut) {
    const Pair pair = connectedPair();
    setSendTimeout(pair.client, std::chrono::milliseconds(30));
    const std::string block(1 << 20, 's');
    int result = 0;
    for (int i = 0; i < 1000 && result >= 0; ++i) {
        result = platform::send(pair.client.get(), block.data(), static_cast<int>(block.size()), 0);
    }
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAETIMEDOUT);
}

TEST_F(Transfers, blockingSendSendsAll) {
    const Pair pair = connectedPair();
    const std::string much(16 << 20, 'm');
    const std::jthread peer([&] { EXPECT_EQ(receiveText(pair.server, much.size()), much); });
    EXPECT_EQ(platform::send(pair.client.get(), much.data(), static_cast<int>(much.size()), 0),
              static_cast<int>(much.size()));
}

TEST_F(Transfers, resetByPeerIsReported) {
    Pair pair = connectedPair();
    resetWhenClosed(pair.client);
    pair.client.close();
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAECONNRESET);
}

TEST_F(Transfers, sendingAfterResetRaisesNoSignal) {
    Pair pair = connectedPair();
    resetWhenClosed(pair.client);
    pair.client.close();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(platform::send(pair.server.get(), "x", 1, 0), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAECONNRESET);
    }
}

TEST_F(Transfers, sendingAfterShutdownFails) {
    const Pair pair = connectedPair();
    ASSERT_EQ(platform::shutdown(pair.client.get(), SD_SEND), 0);
    EXPECT_EQ(platform::send(pair.client.get(), "x", 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAESHUTDOWN);
}

TEST_F(Transfers, datagramLargerThanTheBufferIsTooLong) {
    Socket receiver(host::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(host::bind(receiver.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)),
              0);
    Socket sender(host::socket(AF_INET, SOCK_DGRAM, 0));
    ASSERT_EQ(connectTo(sender, addressOf(receiver)), 0);
    sendText(sender, "datagram");
    char bytes[4] = {};
    EXPECT_EQ(platform::recv(receiver.get(), bytes, 4, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEMSGSIZE);
    EXPECT_EQ(std::string(bytes, 4), "data");
}

TEST_F(ScatteredTransfers, sendGathersAndReceiveScatters) {
    const Pair pair = connectedPair();
    char one[] = "one";
    char two[] = "twos";
    WSABUF out[] = {{3, one}, {0, nullptr}, {4, two}};
    DWORD sent = 0;
    ASSERT_EQ(platform::WSASend(pair.client.get(), out, 3, &sent, 0, nullptr, nullptr), 0);
    EXPECT_EQ(sent, 7U);
    char first[5] = {};
    char second[2] = {};
    WSABUF in[] = {{5, first}, {2, second}};
    DWORD received = 0;
    DWORD flags = msgWaitAll;
    ASSERT_EQ(platform::WSARecv(pair.server.get(), in, 2, &received, &flags, nullptr, nullptr), 0);
    EXPECT_EQ(received, 7U);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(std::string(first, 5) + std::string(second, 2), "onetwos");
}

TEST_F(ScatteredTransfers, moreBuffersThanOneSystemCallTakesAreSent) {
    const Pair pair = connectedPair();
    char letter = 'n';
    std::vector<WSABUF> out(5000, WSABUF{1, &letter});
    DWORD sent = 0;
    ASSERT_EQ(platform::WSASend(pair.client.get(), out.data(), 5000, &sent, 0, nullptr, nullptr),
              0);
    EXPECT_EQ(sent, 5000U);
    EXPECT_EQ(receiveText(pair.server, 5000), std::string(5000, 'n'));
}

TEST_F(ScatteredTransfers, receiveWithRoutineButNoStructureBlocks) {
    const Pair pair = connectedPair();
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    char byte = 0;
    WSABUF in{1, &byte};
    DWORD received = 0;
    DWORD flags = 0;
    const auto routine = [](DWORD, DWORD, WSAOVERLAPPED*, DWORD) { FAIL(); };
    EXPECT_EQ(platform::WSARecv(pair.server.get(), &in, 1, &received, &flags, nullptr, routine), 0);
    EXPECT_EQ(received, 1U);
    EXPECT_EQ(host::SleepEx(0, TRUE), 0U);
}

TEST_F(ScatteredTransfers, transfersRefuseInvalidArguments) {
    const Pair pair = connectedPair();
    char byte = 0;
    WSABUF good{1, &byte};
    WSABUF bad{1, nullptr};
    DWORD count = 0;
    DWORD flags = 0;
    const SOCKET s = pair.server.get();
    EXPECT_EQ(platform::WSARecv(s, nullptr, 1, &count, &flags, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSARecv(s, &bad, 1, &count, &flags, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSARecv(s, &good, 0, &count, &flags, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
    EXPECT_EQ(platform::WSARecv(s, &good, 1, nullptr, &flags, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSARecv(s, &good, 1, &count, nullptr, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSASend(s, &bad, 1, &count, 0, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSASend(s, &good, 1, nullptr, 0, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::WSASend(INVALID_SOCKET, &good, 1, &count, 0, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    flags = unknownFlag;
    EXPECT_EQ(platform::WSARecv(s, &good, 1, &count, &flags, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEOPNOTSUPP);
}

} // namespace VexaSsl::test
