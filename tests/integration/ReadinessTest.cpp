// select on an encrypted connection: held plaintext is counted, but shown only for a socket alone.
#include "integration/support/ConnectedPair.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

TEST(Readiness, heldPlaintextIsReadable) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(pair.server.receive(1), "0");
    platform::WSASetLastError(WSAEINVAL);
    EXPECT_EQ(pair.server.readable(3600), 1);
    EXPECT_EQ(platform::WSAGetLastError(), 0);
    EXPECT_EQ(pair.server.receive(100), "123456789");
    EXPECT_EQ(pair.server.readable(), 0);
}

TEST(Readiness, receivedCiphertextIsReadable) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(pair.server.readable(), 0);
    ASSERT_TRUE(pair.client.sendAll("waiting"));
    EXPECT_EQ(pair.server.readable(timeoutSeconds), 1);
    EXPECT_EQ(pair.server.receive(100), "waiting");
}

// Returns the result of select for reading on the connection's socket and on another one.
int selectWith(Peer& peer, SOCKET other, fd_set& set) {
    platform::socketSetAdd(peer.socket.handle(), set);
    platform::socketSetAdd(other, set);
    const timeval none{0, 0};
    return peer.stack->select(0, &set, nullptr, nullptr, &none);
}

TEST(Readiness, heldPlaintextIsCountedWithAnIdleSocketButNeitherIsShown) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(pair.server.receive(1), "0");
    const Listener idle;
    fd_set set{};
    EXPECT_EQ(selectWith(pair.server, idle.handle(), set), 1);
    EXPECT_EQ(set.fd_count, 0U);
}

TEST(Readiness, heldPlaintextIsCountedWithAReadySocketButNotShown) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(pair.server.receive(1), "0");
    const Listener ready;
    const HostSocket caller = rawConnection(ready.port());
    fd_set set{};
    EXPECT_EQ(selectWith(pair.server, ready.handle(), set), 2);
    EXPECT_EQ(set.fd_count, 1U);
    EXPECT_TRUE(platform::socketSetHas(ready.handle(), set));
}

TEST(Readiness, selectOnAnotherSocketIsLoggedAndForwarded) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const Listener other;
    fd_set set{};
    platform::socketSetAdd(other.handle(), set);
    const timeval none{0, 0};
    EXPECT_EQ(pair.server.stack->select(0, &set, nullptr, nullptr, &none), 0);
    EXPECT_EQ(pair.server.log->count(Severity::Warning,
                                     L"::select() is not being called for the socket [" +
                                         pair.server.socketNumber() +
                                         L"] associated with this security context"),
              1U);
}

} // namespace
} // namespace VexaSsl::test
