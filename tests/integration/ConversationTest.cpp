// Blocking operations on an established connection.
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pattern.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <thread>

namespace VexaSsl::test {
namespace {

TEST(Conversation, textArrivesInBothDirections) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("ping from the client"));
    EXPECT_EQ(pair.server.receiveAll(20), "ping from the client");
    EXPECT_TRUE(pair.server.sendAll("pong from the server"));
    EXPECT_EQ(pair.client.receiveAll(20), "pong from the server");
}

TEST(Conversation, blockingAcceptIsSecured) {
    ConnectedPair pair = connectEncrypted({}, Accepting::blocking);
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("hello"));
    EXPECT_EQ(pair.server.receiveAll(5), "hello");
}

TEST(Conversation, textIsNotOnTheWire) {
    const std::string secret(400, 's');
    ConnectedPair pair = connectEncrypted(RelayPlan{});
    ASSERT_TRUE(pair.established());
    const std::size_t before = pair.relay->passedToServer();
    EXPECT_TRUE(pair.client.sendAll(secret));
    EXPECT_EQ(pair.server.receiveAll(secret.size()), secret);
    EXPECT_GT(pair.relay->passedToServer(), before + secret.size());
    EXPECT_EQ(pair.relay->captured().find("ssss"), std::string::npos);
}

TEST(Conversation, longSendArrivesInOneReceiveWithWaitAll) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const std::string text(Pattern{}.at(0, 200000));
    std::jthread sending([&] { pair.client.sendAll(text); });
    EXPECT_EQ(pair.server.receiveAll(text.size()), text);
    sending.join();
}

TEST(Conversation, emptySendReturnsZeroAndSendsNothing) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(pair.client.stack->send(pair.client.socket.handle(), "", 0, 0), 0);
    EXPECT_TRUE(pair.client.sendAll("x"));
    EXPECT_EQ(pair.server.receive(10), "x");
}

TEST(Conversation, restOfARecordIsReturnedWithoutTheSocket) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("0123456789"));
    EXPECT_EQ(pair.server.receive(4), "0123");
    pair.client.socket.close();
    EXPECT_EQ(pair.server.receive(6), "456789");
}

TEST(Conversation, receiveReturnsWhatHasArrived) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("some"));
    EXPECT_EQ(pair.server.receive(1000), "some");
}

TEST(Conversation, peekLeavesTheBytesForTheNextReceive) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("look twice"));
    EXPECT_EQ(pair.server.receive(10, msgPeek), "look twice");
    EXPECT_EQ(pair.server.receive(4, msgPeek), "look");
    EXPECT_EQ(pair.server.receive(10), "look twice");
}

TEST(Conversation, waitAllBlocksUntilAllBytesHaveArrived) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("first,"));
    EXPECT_EQ(pair.server.receive(6, msgPeek), "first,");
    std::jthread later([&] { pair.client.sendAll("second"); });
    EXPECT_EQ(pair.server.receive(12, msgWaitAll), "first,second");
    later.join();
}

TEST(Conversation, waitAllReturnsWhatHasArrivedWhenThePeerCloses) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("short"));
    pair.client.socket.close();
    EXPECT_EQ(pair.server.receive(100, msgWaitAll), "short");
    EXPECT_EQ(pair.server.receive(100), "");
}

TEST(Conversation, peekWithWaitAllIsRefused) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("held"));
    EXPECT_EQ(pair.server.receive(1), "h");
    EXPECT_EQ(pair.server.receive(3, msgPeek | msgWaitAll), std::nullopt);
    EXPECT_EQ(pair.server.error, WSAEOPNOTSUPP);
    EXPECT_EQ(pair.server.receive(3), "eld");
}

TEST(Conversation, emptyReceiveReturnsAtOnce) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(pair.server.receive(0), "");
}

TEST(Conversation, closedPeerIsTheEndOfTheStream) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.socket.close();
    EXPECT_EQ(pair.server.receive(10), "");
    EXPECT_TRUE(pair.server.log->linesFrom(Severity::Warning).empty());
}

TEST(Conversation, changedByteOnTheWireIsNotDelivered) {
    ConnectedPair measured = connectEncrypted(RelayPlan{});
    ASSERT_TRUE(measured.established());
    const std::size_t handshake = measured.relay->passedToServer();
    ConnectedPair pair = connectEncrypted(RelayPlan{.toServer = {.changeAt = handshake + 20}});
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("a text long enough to be hit"));
    platform::shutdown(pair.client.socket.handle(), SD_SEND);
    EXPECT_EQ(pair.server.receive(100).value_or(""), "");
    EXPECT_EQ(pair.server.log->linesWith(L"DecryptMessage failed with: ").size(), 1U);
}

// The connection ends inside the second record to the server; the first has five bytes.
ConnectedPair meetCutInTheSecondRecord(Ending ending) {
    const ConnectedPair measured = connectEncrypted(RelayPlan{});
    constexpr std::size_t firstRecord = 5 + 29;
    const std::size_t position = measured.relay->passedToServer() + firstRecord + 12;
    ConnectedPair pair =
        connectEncrypted(RelayPlan{.toServer = {.cutAfter = position, .ending = ending}});
    EXPECT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("first"));
    EXPECT_EQ(pair.server.receiveAll(5), "first");
    EXPECT_TRUE(pair.client.sendAll("second"));
    return pair;
}

TEST(Conversation, endInsideARecordIsTheEndOfTheStreamWithoutALine) {
    ConnectedPair pair = meetCutInTheSecondRecord(Ending::close);
    EXPECT_EQ(pair.server.receive(100), "");
    EXPECT_TRUE(pair.server.log->linesFrom(Severity::Warning).empty());
}

TEST(Conversation, resetInsideARecordIsTheErrorOfTheSocket) {
    VEXASSL_NEEDS_ABILITY(Ability::reportResets);
    ConnectedPair pair = meetCutInTheSecondRecord(Ending::reset);
    EXPECT_EQ(pair.server.receive(100), std::nullopt);
    EXPECT_EQ(pair.server.error, WSAECONNRESET);
}

TEST(Conversation, secondConnectionReplacesTheFirstOnTheSameStack) {
    const Listener listener;
    Peer server;
    std::jthread serving([&] {
        Peer first = acceptPeer(listener, Settings::serverSending(pki::localhost));
        first.receiveAll(5);
        first.sendAll("unread");
        server = acceptPeer(listener, Settings::serverSending(pki::localhost));
    });
    Peer client = connectPeer(listener.port(), Settings::encrypted());
    EXPECT_TRUE(client.sendAll("ready"));
    EXPECT_EQ(client.receive(2), "un");
    const sockaddr_in address = loopbackAddress(listener.port());
    HostSocket second = makeSocket();
    EXPECT_EQ(client.stack->connect(second.handle(), reinterpret_cast<const sockaddr*>(&address),
                                    sizeof address),
              0);
    serving.join();
    client.socket = std::move(second);
    ASSERT_TRUE(server.established());
    EXPECT_TRUE(server.sendAll("fresh"));
    EXPECT_EQ(client.receiveAll(5), "fresh");
}

TEST(Conversation, connectWithoutANameFailsWithoutTheNetwork) {
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

TEST(Conversation, destroyedStackLeavesTheSocketOpen) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.stack.reset();
    EXPECT_EQ(sendBytes(pair.client.socket.handle(), "x"), 1);
}

TEST(Conversation, wsaAcceptAndWsaConnectAreRefused) {
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
