// Sockets are descriptors: their numbers, their flags, and what else a number may stand for.
#include "contract/sockets/AcceptCall.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace VexaSsl::test {

namespace {

int descriptorOf(const Socket& socket) {
    return static_cast<int>(socket.get());
}

bool closesOnExec(const Socket& socket) {
    return (fcntl(descriptorOf(socket), F_GETFD) & FD_CLOEXEC) != 0;
}

} // namespace

TEST(Connections, socketsCloseOnExec) {
    const Pair pair = connectedPair();
    EXPECT_TRUE(closesOnExec(pair.client));
    EXPECT_TRUE(closesOnExec(pair.server));
}

TEST(Connections, closingWhatIsNoSocketClosesNothing) {
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(host::closesocket(static_cast<SOCKET>(file)), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
    EXPECT_EQ(close(file), 0);
    EXPECT_EQ(host::closesocket(INVALID_SOCKET), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAENOTSOCK);
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

TEST(AcceptEx, leavesTheListenersModeAlone) {
    const Socket listener = listenOnLoopback();
    const Socket client = connectedTo(listener);
    Accept accept;
    ASSERT_EQ(accept.post(listener), 0);
    EXPECT_EQ(fcntl(descriptorOf(listener), F_GETFL) & O_NONBLOCK, 0);
}

TEST(EventReceive, newSocketWithTheSameNumberHasNothingPending) {
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

TEST(EventReceive, failureAtOnceIsToldByTheResultToo) {
    const Socket unconnected = tcpSocket();
    Receive receive(8);
    EXPECT_EQ(receive.post(unconnected), WSAENOTCONN);
    EXPECT_EQ(receive.finish(unconnected, true), WSAENOTCONN);
}

TEST(AcceptExNeighbours, closingTheAcceptSocketAbortsAndItsNumberIsFree) {
    const Socket listener = listenOnLoopback();
    const ScopedEvent event;
    Accept accept(0, event.get());
    ASSERT_EQ(accept.post(listener), WSA_IO_PENDING);
    const SOCKET number = accept.socket.get();
    accept.socket.close();
    const Socket other = tcpSocket(); // before a wait, which may need a descriptor of its own
    EXPECT_EQ(other.get(), number);
    EXPECT_EQ(event.wait(0), WSA_WAIT_EVENT_0);
    EXPECT_EQ(accept.finish(listener, false), WSA_OPERATION_ABORTED);
    const Socket client = connectedTo(listener);
    const Socket server(platform::accept(listener.get(), nullptr, nullptr)); // still to be had
    EXPECT_TRUE(server.isValid());
    EXPECT_FALSE(isConnected(other));
}

} // namespace VexaSsl::test
