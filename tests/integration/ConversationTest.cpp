// What a host sees of an established connection on the blocking path.
#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <thread>

namespace VexaSsl::test {
namespace {

TEST(Conversation, textGoesBothWays) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("ping from the client"));
    EXPECT_EQ(meeting.server.hear(20), "ping from the client");
    EXPECT_TRUE(meeting.server.say("pong from the server"));
    EXPECT_EQ(meeting.client.hear(20), "pong from the server");
}

TEST(Conversation, aBlockingAcceptMakesTheConnectionSecureToo) {
    Meeting meeting = meetEncrypted({}, Accepting::blocking);
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("hello"));
    EXPECT_EQ(meeting.server.hear(5), "hello");
}

TEST(Conversation, nothingOfTheTextIsOnTheWire) {
    const std::string secret(400, 's');
    Meeting meeting = meetEncrypted(RelayPlan{});
    ASSERT_TRUE(meeting.established());
    const std::size_t before = meeting.relay->passedToServer();
    EXPECT_TRUE(meeting.client.say(secret));
    EXPECT_EQ(meeting.server.hear(secret.size()), secret);
    EXPECT_GT(meeting.relay->passedToServer(), before + secret.size());
    EXPECT_EQ(meeting.relay->captured().find("ssss"), std::string::npos);
}

TEST(Conversation, aLongSendArrivesWholeInOneWaitingReceive) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    const std::string text(Pattern{}.at(0, 200000));
    std::jthread sending([&] { meeting.client.say(text); });
    EXPECT_EQ(meeting.server.hear(text.size()), text);
    sending.join();
}

TEST(Conversation, aSendOfNothingReturnsNothingAndSendsNothing) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(meeting.client.stack->send(meeting.client.socket.handle(), "", 0, 0), 0);
    EXPECT_TRUE(meeting.client.say("x"));
    EXPECT_EQ(meeting.server.receive(10), "x");
}

TEST(Conversation, surplusOfARecordIsServedWithoutTheSocket) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("0123456789"));
    EXPECT_EQ(meeting.server.receive(4), "0123");
    meeting.client.socket.close();
    EXPECT_EQ(meeting.server.receive(6), "456789");
}

TEST(Conversation, aPlainReceiveTakesWhatIsThere) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("some"));
    EXPECT_EQ(meeting.server.receive(1000), "some");
}

TEST(Conversation, peekingLeavesTheBytesForTheNextReceive) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("look twice"));
    EXPECT_EQ(meeting.server.receive(10, msgPeek), "look twice");
    EXPECT_EQ(meeting.server.receive(4, msgPeek), "look");
    EXPECT_EQ(meeting.server.receive(10), "look twice");
}

TEST(Conversation, waitAllBlocksUntilTheWholeAmountIsThere) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("first,"));
    EXPECT_EQ(meeting.server.receive(6, msgPeek), "first,");
    std::jthread later([&] { meeting.client.say("second"); });
    EXPECT_EQ(meeting.server.receive(12, msgWaitAll), "first,second");
    later.join();
}

TEST(Conversation, waitAllGivesWhatCameWhenThePeerCloses) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("short"));
    meeting.client.socket.close();
    EXPECT_EQ(meeting.server.receive(100, msgWaitAll), "short");
    EXPECT_EQ(meeting.server.receive(100), "");
}

TEST(Conversation, peekWithWaitAllIsRefusedWhateverIsHeld) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("held"));
    EXPECT_EQ(meeting.server.receive(1), "h");
    EXPECT_EQ(meeting.server.receive(3, msgPeek | msgWaitAll), std::nullopt);
    EXPECT_EQ(meeting.server.error, WSAEOPNOTSUPP);
    EXPECT_EQ(meeting.server.receive(3), "eld");
}

TEST(Conversation, aReceiveOfNothingReturnsAtOnce) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(meeting.server.receive(0), "");
}

TEST(Conversation, aClosedPeerIsTheEndOfTheStream) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    meeting.client.socket.close();
    EXPECT_EQ(meeting.server.receive(10), "");
    EXPECT_TRUE(meeting.server.log->linesFrom(Severity::Warning).empty());
}

TEST(Conversation, aChangedByteOnTheWireIsNeverDelivered) {
    Meeting measured = meetEncrypted(RelayPlan{});
    ASSERT_TRUE(measured.established());
    const std::size_t handshake = measured.relay->passedToServer();
    Meeting meeting = meetEncrypted(RelayPlan{.toServer = {.changeAt = handshake + 20}});
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("a text long enough to be hit"));
    platform::shutdown(meeting.client.socket.handle(), SD_SEND);
    EXPECT_EQ(meeting.server.receive(100).value_or(""), "");
    EXPECT_EQ(meeting.server.log->linesWith(L"DecryptMessage failed with: ").size(), 1U);
}

// A connection that ends inside the second record to the server: five bytes arrive whole.
Meeting meetCutInTheSecondRecord(Ending ending) {
    const Meeting measured = meetEncrypted(RelayPlan{});
    constexpr std::size_t firstRecord = 5 + 29;
    const std::size_t position = measured.relay->passedToServer() + firstRecord + 12;
    Meeting meeting =
        meetEncrypted(RelayPlan{.toServer = {.cutBehind = position, .ending = ending}});
    EXPECT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("first"));
    EXPECT_EQ(meeting.server.hear(5), "first");
    EXPECT_TRUE(meeting.client.say("second"));
    return meeting;
}

TEST(Conversation, anEndInsideARecordIsTheEndOfTheStreamWithoutAnyLine) {
    Meeting meeting = meetCutInTheSecondRecord(Ending::close);
    EXPECT_EQ(meeting.server.receive(100), "");
    EXPECT_TRUE(meeting.server.log->linesFrom(Severity::Warning).empty());
}

TEST(Conversation, aResetInsideARecordIsTheSocketsFailure) {
    VEXASSL_NEEDS_ABILITY(Ability::tellResets);
    Meeting meeting = meetCutInTheSecondRecord(Ending::reset);
    EXPECT_EQ(meeting.server.receive(100), std::nullopt);
    EXPECT_EQ(meeting.server.error, WSAECONNRESET);
}

TEST(Conversation, aSecondConnectionReplacesTheFirstOnTheSameStack) {
    const Listener listener;
    Peer server;
    std::jthread serving([&] {
        Peer first = answer(listener, Settings::serverSending(pki::localhost));
        first.hear(5);
        first.say("unread");
        server = answer(listener, Settings::serverSending(pki::localhost));
    });
    Peer client = dial(listener.port(), Settings::encrypted());
    EXPECT_TRUE(client.say("ready"));
    EXPECT_EQ(client.receive(2), "un");
    const sockaddr_in address = loopbackAddress(listener.port());
    HostSocket second = makeSocket();
    EXPECT_EQ(client.stack->connect(second.handle(), reinterpret_cast<const sockaddr*>(&address),
                                    sizeof address),
              0);
    serving.join();
    client.socket = std::move(second);
    ASSERT_TRUE(server.established());
    EXPECT_TRUE(server.say("fresh"));
    EXPECT_EQ(client.hear(5), "fresh");
}

TEST(Conversation, connectingBeforeAnyNameIsKnownFailsWithoutTheNetwork) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, *Settings::encrypted().load(log));
    const HostSocket socket = makeSocket();
    const sockaddr_storage nowhere{};
    EXPECT_EQ(stack->connect(socket.handle(), reinterpret_cast<const sockaddr*>(&nowhere),
                             sizeof nowhere),
              SOCKET_ERROR);
    EXPECT_EQ(platform::WSAGetLastError(), WSAEINVAL);
    EXPECT_EQ(log.count(Severity::Error, L"No remote hostname has been supplied. Server "
                                         L"authentication will be impossible. Aborting connection "
                                         L"attempt"),
              1U);
}

TEST(Conversation, destroyingTheStackLeavesTheSocketOpen) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    meeting.client.stack.reset();
    EXPECT_EQ(sendBytes(meeting.client.socket.handle(), "x"), 1);
}

TEST(Conversation, encryptedStacksRefuseTheTwoConditionalOperations) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, *Settings::encrypted().load(log));
    platform::WSASetLastError(4711);
    EXPECT_EQ(stack->WSAAccept(INVALID_SOCKET, nullptr, nullptr, nullptr, 0), INVALID_SOCKET);
    EXPECT_EQ(stack->WSAConnect(INVALID_SOCKET, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              SOCKET_ERROR);
    EXPECT_EQ(platform::WSAGetLastError(), 4711);
}

} // namespace
} // namespace VexaSsl::test
