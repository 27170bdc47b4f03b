// Sockets as file descriptors: their numbers, their flags, and the reuse of numbers.
#include "contract/sockets/AcceptCall.h"
#include "platform/linux/sockets/SocketKind.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace VexaSsl::test {

namespace {

int descriptorOf(const Socket& socket) {
    return static_cast<int>(socket.get());
}

bool closesOnExec(const Socket& socket) {
    return (fcntl(descriptorOf(socket), F_GETFD) & FD_CLOEXEC) != 0;
}

// Returns how many descriptors a program inherits from this one.
int inheritedDescriptors() {
    int count = 0;
    for (int fd = 0; fd < 1000; ++fd) {
        const int flags = fcntl(fd, F_GETFD);
        count += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    return count;
}

// Opens sockets until the last one has the number, which is free.
std::vector<Socket> datagramSocketsUpTo(SOCKET number) {
    std::vector<Socket> sockets;
    do {
        sockets.emplace_back(host::socket(AF_INET, SOCK_DGRAM, 0));
    } while (sockets.back().get() != number);
    return sockets;
}

int selectAtOnce(SOCKET number) {
    fd_set readable{};
    host::socketSetAdd(number, readable);
    const timeval noTime{};
    return platform::select(0, &readable, nullptr, nullptr, &noTime);
}

} // namespace

TEST(Connections, socketsCloseOnExec) {
    const Pair pair = connectedPair();
    EXPECT_TRUE(closesOnExec(pair.client));
    EXPECT_TRUE(closesOnExec(pair.server));
}

TEST(CompletionPort, portsAndWaitingThreadsCloseOnExec) {
    const int before = inheritedDescriptors();
    const ScopedPort port;
    const ScopedEvent event;
    std::jthread([&] {
        EXPECT_EQ(event.wait(0), host::WSA_WAIT_TIMEOUT);
        EXPECT_EQ(inheritedDescriptors(), before);
    }).join();
}

TEST(Connections, closingNonSocketLeavesItOpen) {
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(host::closesocket(static_cast<SOCKET>(file)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    EXPECT_EQ(close(file), 0);
    EXPECT_EQ(host::closesocket(INVALID_SOCKET), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
}

// What the binding remembers of a socket doesn't apply to another file with its number.
TEST(Select, fileWithReusedNumberIsNotSocket) {
    Pair pair = connectedPair();
    const SOCKET number = pair.server.get();
    EXPECT_EQ(selectAtOnce(number), 0);
    pair.server.close();
    const int place = static_cast<int>(number);
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup3(file, place, O_CLOEXEC), place);
    EXPECT_EQ(selectAtOnce(number), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    close(place);
    close(file);
}

TEST(Transfers, datagramIsTruncatedOnReusedNumberOfStream) {
    Pair pair = connectedPair();
    const SOCKET number = pair.server.get();
    sendText(pair.client, "text");
    EXPECT_EQ(receiveText(pair.server, 4), "text");
    pair.server.close();
    const auto sockets = datagramSocketsUpTo(number);
    const Socket& receiver = sockets.back();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(host::bind(number, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const Socket sender(host::socket(AF_INET, SOCK_DGRAM, 0));
    ASSERT_EQ(connectTo(sender, addressOf(receiver)), 0);
    sendText(sender, "datagram");
    char bytes[4] = {};
    EXPECT_EQ(platform::recv(number, bytes, 4, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAEMSGSIZE);
}

// Another part of the process has closed the descriptor.
TEST(EventReceive, newSocketEndsTheOperationsOfItsNumber) {
    Receive receive(8);
    Pair pair = connectedPair();
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const SOCKET number = pair.server.get();
    EXPECT_EQ(selectAtOnce(number), 0);
    ASSERT_EQ(close(descriptorOf(pair.server)), 0);
    EXPECT_EQ(selectAtOnce(number), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    pair.server = Socket(); // fails: it isn't a socket now
    const auto sockets = datagramSocketsUpTo(number);
    EXPECT_EQ(receive.finish(sockets.back(), false), WSA_OPERATION_ABORTED);
    EXPECT_EQ(linux::kindOf(static_cast<int>(number)), linux::SocketKind::other);
}

TEST(AcceptEx, acceptedSocketKeepsItsNumberAndClosesOnExec) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Accept accept;
    const SOCKET number = accept.socket.get();
    ASSERT_EQ(accept.post(listener), 0);
    EXPECT_EQ(accept.socket.get(), number);
    EXPECT_EQ(addressOf(accept.socket).sin_port, addressOf(listener).sin_port);
    EXPECT_NE(fcntl(descriptorOf(accept.socket), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(AcceptEx, acceptLeavesTheListenerBlocking) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Accept accept;
    ASSERT_EQ(accept.post(listener), 0);
    EXPECT_EQ(fcntl(descriptorOf(listener), F_GETFL) & O_NONBLOCK, 0);
}

TEST(EventReceive, socketWithReusedNumberHasNothingPending) {
    Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const SOCKET number = pair.server.get();
    pair.server.close();
    const Pair next = connectedPair();
    EXPECT_TRUE(next.client.get() == number || next.server.get() == number);
    sendText(next.client, "mine");
    EXPECT_EQ(receiveText(next.server, 4), "mine");
    sendText(next.server, "yours");
    EXPECT_EQ(receiveText(next.client, 5), "yours");
    EXPECT_EQ(receive.finish(next.server, false), WSA_OPERATION_ABORTED);
}

TEST(EventReceive, immediateFailureIsAlsoTheResult) {
    const Socket unconnected = tcpSocket();
    Receive receive(8);
    EXPECT_EQ(receive.post(unconnected), WSAENOTCONN);
    EXPECT_EQ(receive.finish(unconnected, true), WSAENOTCONN);
}

TEST(AcceptExConcurrency, closingOneAcceptSocketKeepsTheOtherAccept) {
    const Socket listener = listenOnLoopback();
    Accept first;
    Accept second;
    ASSERT_EQ(first.post(listener), WSA_IO_PENDING);
    ASSERT_EQ(second.post(listener), WSA_IO_PENDING);
    first.socket.close();
    const Socket client = connectedTo(listener);
    EXPECT_EQ(second.finish(listener, true), 0);
    EXPECT_TRUE(isConnected(second.socket));
}

TEST(AcceptExConcurrency, closingTheAcceptSocketFreesItsNumber) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(0, event.get());
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const SOCKET number = accept.socket.get();
    accept.socket.close();
    const Socket other = tcpSocket(); // before a wait, which may open a descriptor
    EXPECT_EQ(other.get(), number);
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_EQ(accept.finish(listener, false), WSA_OPERATION_ABORTED);
    const Socket client = connectedTo(listener);
    const Socket server(platform::accept(listener.get(), nullptr, nullptr));
    EXPECT_TRUE(server.isValid());
    EXPECT_FALSE(isConnected(other));
}

} // namespace VexaSsl::test
