// Making, connecting, accepting, shutting down and closing sockets, and the last error.
#include "contract/sockets/Loopback.h"
#include "platform/contract/WindowsBase.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace VexaSsl::test {

namespace {

// An address that no socket listens on.
sockaddr_in addressWithoutListener() {
    return addressOf(listenOnLoopback());
}

struct Asked {
    int answer = CF_ACCEPT;
    int calls = 0;
    std::uint16_t callerPort = 0;
    std::uint16_t calleePort = 0;
};

int condition(WSABUF* callerId, WSABUF*, QOS*, QOS*, WSABUF* calleeId, WSABUF*, GROUP*,
              DWORD_PTR callbackData) {
    Asked& asked = *reinterpret_cast<Asked*>(callbackData);
    ++asked.calls;
    asked.callerPort = reinterpret_cast<const sockaddr_in*>(callerId->buf)->sin_port;
    asked.calleePort = reinterpret_cast<const sockaddr_in*>(calleeId->buf)->sin_port;
    return asked.answer;
}

SOCKET acceptOn(const Socket& listener, Asked& asked) {
    return platform::WSAAccept(listener.get(), nullptr, nullptr, condition,
                               reinterpret_cast<DWORD_PTR>(&asked));
}

} // namespace

using LastError = ContractTest;
using Connections = ContractTest;
using WsaConnect = ContractTest;
using WsaAccept = ContractTest;

// Between setting and reading the error only functions that leave it alone are called.
TEST_F(LastError, lastErrorIsKeptPerThread) {
    std::atomic<int> turn{0};
    int seenByTheOther = 0;
    std::thread other([&turn, &seenByTheOther] {
        while (turn != 1) {
        }
        seenByTheOther = platform::WSAGetLastError();
        platform::WSASetLastError(WSAEFAULT);
        turn = 2;
    });
    platform::WSASetLastError(WSAEINVAL);
    turn = 1;
    while (turn != 2) {
    }
    const int own = platform::WSAGetLastError();
    const DWORD sameSlot = platform::GetLastError();
    other.join();
    EXPECT_NE(seenByTheOther, WSAEINVAL);
    EXPECT_EQ(own, WSAEINVAL);
    EXPECT_EQ(sameSlot, static_cast<DWORD>(WSAEINVAL));
}

TEST_F(Connections, unknownFamilyIsRefused) {
    EXPECT_EQ(host::socket(9999, SOCK_STREAM, 0), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEAFNOSUPPORT);
    EXPECT_EQ(host::socket(AF_INET, SOCK_STREAM, IPPROTO_UDP), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEPROTONOSUPPORT);
}

TEST_F(Connections, acceptGivesThePeersAddress) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    sockaddr_in peer[2]{}; // more room than the address takes
    int length = sizeof(peer);
    const Socket server(
        platform::accept(listener.get(), reinterpret_cast<sockaddr*>(&peer), &length));
    ASSERT_TRUE(server.isValid());
    EXPECT_EQ(length, static_cast<int>(sizeof(peer[0])));
    EXPECT_EQ(peer[0].sin_port, addressOf(client).sin_port);
}

TEST_F(Connections, acceptWithTooSmallAddressKeepsTheConnection) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    sockaddr_in peer{};
    for (int length : {3, -1}) {
        EXPECT_EQ(platform::accept(listener.get(), reinterpret_cast<sockaddr*>(&peer), &length),
                  INVALID_SOCKET);
        EXPECT_EQ(lastError(), WSAEFAULT);
    }
    EXPECT_EQ(platform::accept(listener.get(), reinterpret_cast<sockaddr*>(&peer), nullptr),
              INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_TRUE(Socket(platform::accept(listener.get(), nullptr, nullptr)).isValid());
}

TEST_F(Connections, acceptOnNonBlockingSocketWouldBlock) {
    const Socket listener = listenOnLoopback();
    setNonBlocking(listener);
    EXPECT_EQ(platform::accept(listener.get(), nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEWOULDBLOCK);
}

TEST_F(Connections, acceptWithoutListenIsInvalid) {
    const Socket socket = tcpSocket();
    EXPECT_EQ(platform::accept(socket.get(), nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(Connections, acceptRefusesNonSockets) {
    EXPECT_EQ(platform::accept(INVALID_SOCKET, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    sockaddr_in peer{};
    int length = sizeof(peer);
    EXPECT_EQ(platform::accept(INVALID_SOCKET, reinterpret_cast<sockaddr*>(&peer), &length),
              INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

TEST_F(Connections, refusedConnectIsReported) {
    const Socket socket = tcpSocket();
    EXPECT_EQ(connectTo(socket, addressWithoutListener()), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAECONNREFUSED);
}

TEST_F(Connections, nonBlockingConnectWouldBlock) {
    const Socket listener = listenOnLoopback();
    const Socket socket = tcpSocket();
    setNonBlocking(socket);
    EXPECT_EQ(connectTo(socket, addressOf(listener)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEWOULDBLOCK);
    fd_set writable{};
    host::socketSetAdd(socket.get(), writable);
    EXPECT_EQ(platform::select(0, nullptr, &writable, nullptr, &tenSeconds), 1);
    EXPECT_EQ(connectTo(socket, addressOf(listener)), 0);
    EXPECT_EQ(connectTo(socket, addressOf(listener)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEISCONN);
}

TEST_F(Connections, connectRefusesInvalidArguments) {
    const Socket socket = tcpSocket();
    const sockaddr_in address = addressWithoutListener();
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    EXPECT_EQ(platform::connect(socket.get(), nullptr, sizeof(address)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::connect(socket.get(), name, -1), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(platform::connect(INVALID_SOCKET, name, sizeof(address)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

TEST_F(Connections, shutdownEndsOneDirection) {
    const Pair pair = connectedPair();
    ASSERT_EQ(platform::shutdown(pair.client.get(), SD_SEND), 0);
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), 0);
    sendText(pair.server, "still");
    EXPECT_EQ(receiveText(pair.client, 5), "still");
}

TEST_F(Connections, shutdownRefusesInvalidArguments) {
    const Pair pair = connectedPair();
    EXPECT_EQ(platform::shutdown(pair.client.get(), 3), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEINVAL);
    EXPECT_EQ(platform::shutdown(INVALID_SOCKET, 3), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    const Socket unconnected = tcpSocket();
    EXPECT_EQ(platform::shutdown(unconnected.get(), SD_BOTH), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTCONN);
}

TEST_F(Connections, closeRefusesNonSockets) {
    for (const SOCKET nonSocket : {INVALID_SOCKET, openNonSocket()}) {
        EXPECT_EQ(host::closesocket(nonSocket), SOCKET_ERROR);
        EXPECT_EQ(lastError(), WSAENOTSOCK);
    }
}

TEST_F(Connections, secondBindFindsTheAddressInUse) {
    const Socket listener = listenOnLoopback();
    const sockaddr_in address = addressOf(listener);
    const Socket other = tcpSocket();
    EXPECT_EQ(host::bind(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
              SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEADDRINUSE);
    EXPECT_EQ(host::bind(other.get(), nullptr, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEFAULT);
    EXPECT_EQ(host::listen(INVALID_SOCKET, 1), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

TEST_F(WsaConnect, connectLeavesNoCalleeData) {
    const Socket listener = listenOnLoopback();
    const Socket socket = tcpSocket();
    const sockaddr_in address = addressOf(listener);
    char byte = 0;
    WSABUF calleeData{1, &byte};
    QOS sqos{};
    EXPECT_EQ(platform::WSAConnect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                                   sizeof(address), nullptr, &calleeData, &sqos, nullptr),
              0);
    EXPECT_EQ(calleeData.len, 0U);
}

TEST_F(WsaConnect, callerDataIsNotSupported) {
    const Socket socket = tcpSocket();
    const sockaddr_in address = addressWithoutListener();
    char byte = 0;
    WSABUF callerData{1, &byte};
    EXPECT_EQ(platform::WSAConnect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                                   sizeof(address), &callerData, nullptr, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEPROTONOSUPPORT);
}

TEST_F(WsaAccept, nullConditionAcceptsEveryConnection) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    EXPECT_TRUE(
        Socket(platform::WSAAccept(listener.get(), nullptr, nullptr, nullptr, 0)).isValid());
}

TEST_F(WsaAccept, conditionSeesBothAddresses) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Asked asked;
    const Socket server(acceptOn(listener, asked));
    EXPECT_TRUE(server.isValid());
    EXPECT_EQ(asked.calls, 1);
    EXPECT_EQ(asked.callerPort, addressOf(client).sin_port);
    EXPECT_EQ(asked.calleePort, addressOf(listener).sin_port);
}

TEST_F(WsaAccept, rejectedConnectionIsRefused) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Asked asked{CF_REJECT};
    EXPECT_EQ(acceptOn(listener, asked), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAECONNREFUSED);
    char byte = 0;
    EXPECT_EQ(platform::recv(client.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAECONNRESET);
}

TEST_F(WsaAccept, unknownConditionResultIsInvalid) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Asked asked{7};
    EXPECT_EQ(acceptOn(listener, asked), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSAEINVAL);
}

TEST_F(WsaAccept, deferredConnectionIsOfferedAgainAndReadyForSelect) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Asked asked{CF_DEFER};
    EXPECT_EQ(acceptOn(listener, asked), INVALID_SOCKET);
    EXPECT_EQ(lastError(), WSATRY_AGAIN);
    fd_set readable{};
    host::socketSetAdd(listener.get(), readable);
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(host::socketSetHas(listener.get(), readable));
    sockaddr_in peer{};
    int length = sizeof(peer);
    const Socket server(
        platform::accept(listener.get(), reinterpret_cast<sockaddr*>(&peer), &length));
    EXPECT_TRUE(server.isValid());
    EXPECT_EQ(peer.sin_port, addressOf(client).sin_port);
}

TEST_F(WsaAccept, deferredConnectionEndsWithTheListener) {
    Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Asked asked{CF_DEFER};
    EXPECT_EQ(acceptOn(listener, asked), INVALID_SOCKET);
    listener.close();
    char byte = 0;
    EXPECT_EQ(platform::recv(client.get(), &byte, 1, 0), 0);
}

} // namespace VexaSsl::test
