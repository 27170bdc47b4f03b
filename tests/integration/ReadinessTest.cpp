// select on an encrypted connection: what is in hand counts, and only what is at a socket shows.
#include "integration/support/Meeting.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

TEST(Readiness, selectCountsPlaintextInHandAsReadable) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("0123456789"));
    EXPECT_EQ(meeting.server.receive(1), "0");
    platform::WSASetLastError(WSAEINVAL);
    EXPECT_EQ(meeting.server.readable(3600), 1);
    EXPECT_EQ(platform::WSAGetLastError(), 0);
    EXPECT_EQ(meeting.server.receive(100), "123456789");
    EXPECT_EQ(meeting.server.readable(), 0);
}

TEST(Readiness, selectSeesBytesThatWaitAtTheSocket) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(meeting.server.readable(), 0);
    ASSERT_TRUE(meeting.client.say("waiting"));
    EXPECT_EQ(meeting.server.readable(patienceSeconds), 1);
    EXPECT_EQ(meeting.server.receive(100), "waiting");
}

// A select for reading on the connection's socket and on another one.
int selectWith(Peer& peer, SOCKET other, fd_set& set) {
    platform::socketSetAdd(peer.socket.handle(), set);
    platform::socketSetAdd(other, set);
    const timeval none{0, 0};
    return peer.stack->select(0, &set, nullptr, nullptr, &none);
}

TEST(Readiness, selectCountsPlaintextInHandBesideAnIdleSocketButShowsNeither) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("0123456789"));
    EXPECT_EQ(meeting.server.receive(1), "0");
    const Listener idle;
    fd_set set{};
    EXPECT_EQ(selectWith(meeting.server, idle.handle(), set), 1);
    EXPECT_EQ(set.fd_count, 0U);
}

TEST(Readiness, selectCountsPlaintextInHandBesideAReadySocketButShowsOnlyThatOne) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("0123456789"));
    EXPECT_EQ(meeting.server.receive(1), "0");
    const Listener ready;
    const HostSocket caller = rawConnection(ready.port());
    fd_set set{};
    EXPECT_EQ(selectWith(meeting.server, ready.handle(), set), 2);
    EXPECT_EQ(set.fd_count, 1U);
    EXPECT_TRUE(platform::socketSetHas(ready.handle(), set));
}

TEST(Readiness, selectOnAForeignSocketSaysSoAndPassesThrough) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    const Listener other;
    fd_set set{};
    platform::socketSetAdd(other.handle(), set);
    const timeval none{0, 0};
    EXPECT_EQ(meeting.server.stack->select(0, &set, nullptr, nullptr, &none), 0);
    EXPECT_EQ(meeting.server.log->count(Severity::Warning,
                                        L"::select() is not being called for the socket [" +
                                            meeting.server.socketNumber() +
                                            L"] associated with this security context"),
              1U);
}

} // namespace
} // namespace VexaSsl::test
