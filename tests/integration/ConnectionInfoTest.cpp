// What hosts ask about real connections: who came, why a handshake failed, and what is held.
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"

#include "VexaSsl/IConnectionInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using Cause = FailureCause;

IConnectionInfo& infoOf(const Peer& peer) {
    return dynamic_cast<IConnectionInfo&>(*peer.stack);
}

Cause causeOf(const Peer& peer) {
    return infoOf(peer).lastFailure().cause;
}

Settings serverOfKnownClients() {
    return Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "True");
}

TEST(ConnectionQueries, clientSeesTheServer) {
    const ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const std::size_t lines = pair.client.log->lines().size();
    const ConnectionInfo info = infoOf(pair.client).connectionInfo();
    EXPECT_EQ(info.protocol, L"TLS 1.2");
    EXPECT_THAT(info.peerSubject, HasSubstr(L"CN="));
    EXPECT_THAT(info.peerNames, Contains(L"localhost"));
    EXPECT_TRUE(info.peerTrusted);
    ASSERT_GT(info.peerCertificate.size(), 4U);
    EXPECT_EQ(info.peerCertificate[0], 0x30) << "a DER sequence";
    EXPECT_EQ(std::size_t{info.peerCertificate[2]} * 256 + info.peerCertificate[3] + 4,
              info.peerCertificate.size());
    EXPECT_EQ(info.ownSubject, L"");
    EXPECT_EQ(causeOf(pair.client), Cause::None);
    EXPECT_EQ(pair.client.log->lines().size(), lines);
}

TEST(ConnectionQueries, bothSidesAgreeOnTheCipherSuite) {
    const ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    const std::wstring suite = infoOf(pair.client).connectionInfo().cipherSuite;
    EXPECT_EQ(suite.substr(0, 4), suite.empty() ? L"" : L"TLS_");
    EXPECT_EQ(infoOf(pair.server).connectionInfo().cipherSuite, suite);
}

TEST(ConnectionQueries, serverThatAsksNobodySeesNoClient) {
    const ConnectedPair pair = connectPair({.client = Settings::clientSending(pki::client),
                                            .server = Settings::serverSending(pki::localhost)});
    ASSERT_TRUE(pair.established());
    const ConnectionInfo info = infoOf(pair.server).connectionInfo();
    EXPECT_EQ(info.protocol, L"TLS 1.2");
    EXPECT_TRUE(info.peerCertificate.empty());
    EXPECT_EQ(info.peerSubject, L"");
    EXPECT_FALSE(info.peerTrusted);
}

TEST(ConnectionQueries, serverSeesWhoCame) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    const ConnectedPair pair =
        connectPair({.client = Settings::clientSending(pki::clientWithTwoNames),
                     .server = serverOfKnownClients()});
    ASSERT_TRUE(pair.established());
    const ConnectionInfo info = infoOf(pair.server).connectionInfo();
    EXPECT_TRUE(info.peerTrusted);
    EXPECT_THAT(info.peerNames, Contains(L"first.test"));
    EXPECT_THAT(info.peerNames, Contains(L"second.test"));
    EXPECT_EQ(infoOf(pair.client).connectionInfo().ownSubject, info.peerSubject);
}

TEST(ConnectionQueries, answersComeThroughLogLayers) {
    ConnectedPair pair = connectPair(
        {.client = Settings::encrypted().with("InjectLogLayers", "True"),
         .server = Settings::serverSending(pki::localhost).with("InjectLogLayers", "True")});
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(infoOf(pair.client).connectionInfo().protocol, L"TLS 1.2");
    EXPECT_TRUE(pair.server.sendAll("hello"));
    EXPECT_EQ(pair.client.receive(1), "h");
    EXPECT_EQ(infoOf(pair.client).heldBytes(), 4);
}

TEST(ConnectionQueries, connectionInTheClearHasNothingToTell) {
    const ConnectedPair pair =
        connectPair({.client = Settings::plain(), .server = Settings::plain()});
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(infoOf(pair.client).connectionInfo().protocol, L"");
    EXPECT_EQ(causeOf(pair.client), Cause::None);
    EXPECT_EQ(infoOf(pair.client).heldBytes(), 0);
}

// --- Causes.

struct Refusal {
    const char* name;
    const std::string* certificate; // of the server
    Cause cause;
};

void PrintTo(const Refusal& tested, std::ostream* stream) {
    *stream << tested.name;
}

class CauseOfServer : public ::testing::TestWithParam<Refusal> {};

TEST_P(CauseOfServer, isToldToTheClient) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair =
        connectPair({.client = Settings::encrypted(),
                     .server = Settings::serverSending(*GetParam().certificate)});
    const ConnectionFailure failure = infoOf(pair.client).lastFailure();
    EXPECT_EQ(failure.cause, GetParam().cause);
    EXPECT_LT(failure.status, 0);
    EXPECT_EQ(failure.text.find(L"InitializeSecurityContext failed: "), 0U) << "with a reason";
    EXPECT_EQ(causeOf(pair.server), Cause::Transport) << "the client just leaves";
    EXPECT_EQ(infoOf(pair.client).connectionInfo().protocol, L"");
}

INSTANTIATE_TEST_SUITE_P(
    Certificates, CauseOfServer,
    ::testing::Values(Refusal{"untrusted", &pki::untrusted, Cause::PeerNotTrusted},
                      Refusal{"selfSigned", &pki::selfSigned, Cause::PeerNotTrusted},
                      Refusal{"wrongUsage", &pki::clientOnly, Cause::PeerNotTrusted},
                      Refusal{"otherName", &pki::otherName, Cause::NameMismatch},
                      Refusal{"expired", &pki::expired, Cause::Expired},
                      Refusal{"notYetValid", &pki::notYetValid, Cause::Expired}),
    [](const auto& tested) { return tested.param.name; });

class CauseOfClient : public ::testing::TestWithParam<Refusal> {};

TEST_P(CauseOfClient, isToldToTheServer) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    const ConnectedPair pair =
        connectPair({.client = GetParam().certificate == nullptr
                                   ? Settings::encrypted()
                                   : Settings::clientSending(*GetParam().certificate),
                     .server = serverOfKnownClients().with(
                         "AcceptableClientCertificateToReceiveNames", "client.test")});
    EXPECT_EQ(causeOf(pair.server), GetParam().cause);
    EXPECT_EQ(causeOf(pair.client), Cause::None) << "its handshake is complete before";
}

INSTANTIATE_TEST_SUITE_P(
    Certificates, CauseOfClient,
    ::testing::Values(Refusal{"none", nullptr, Cause::PeerNotTrusted},
                      Refusal{"untrusted", &pki::untrustedClient, Cause::PeerNotTrusted},
                      Refusal{"expired", &pki::expiredClient, Cause::Expired},
                      Refusal{"otherName", &pki::clientWithTwoNames, Cause::NameMismatch},
                      Refusal{"accepted", &pki::client, Cause::None}),
    [](const auto& tested) { return tested.param.name; });

TEST(CauseOfFailure, missingOwnCertificate) {
    const ConnectedPair pair =
        connectPair({.client = Settings::encrypted(),
                     .server = Settings::serverSending("nobody has this name")});
    EXPECT_EQ(causeOf(pair.server), Cause::OwnCertificate);
    EXPECT_EQ(causeOf(pair.client), Cause::Transport);
}

TEST(CauseOfFailure, invalidOption) {
    const ConnectedPair pair = connectPair(
        {.client = Settings::encrypted(),
         .server = serverOfKnownClients().with("RequireClientAuthentication", "Perhaps")});
    EXPECT_EQ(causeOf(pair.server), Cause::Configuration);
}

TEST(CauseOfFailure, refusedConnection) {
    std::uint16_t port = 0;
    {
        const Listener gone;
        port = gone.port();
    }
    const Peer client = connectPeer(port, Settings::encrypted());
    EXPECT_EQ(client.result, SOCKET_ERROR);
    const ConnectionFailure failure = infoOf(client).lastFailure();
    EXPECT_EQ(failure.cause, Cause::Transport);
    EXPECT_EQ(failure.status, WSAECONNREFUSED);
}

// A server that sends these bytes to each client, then waits for the end.
Cause causeOfAnswer(const std::string& answer) {
    const Listener listener;
    std::jthread serving([&] {
        const HostSocket connection(acceptFrom(listener.handle()));
        char hello[4096];
        receiveBytes(connection.handle(), hello, sizeof hello);
        sendBytes(connection.handle(), answer);
        receiveBytes(connection.handle(), hello, sizeof hello);
    });
    const Peer client = connectPeer(listener.port(), Settings::encrypted());
    EXPECT_EQ(client.result, SOCKET_ERROR);
    return causeOf(client);
}

TEST(CauseOfFailure, alertOfThePeer) {
    EXPECT_EQ(causeOfAnswer({"\x15\x03\x03\x00\x02\x02\x28", 7}), Cause::PeerRefused);
}

TEST(CauseOfFailure, alertAboutTheVersion) {
    EXPECT_EQ(causeOfAnswer({"\x15\x03\x03\x00\x02\x02\x46", 7}), Cause::Protocol);
}

TEST(CauseOfFailure, bytesThatAreNotTls) {
    VEXASSL_NEEDS_ABILITY(Ability::detectPlainText);
    EXPECT_EQ(causeOfAnswer("220 mail.example ESMTP ready\r\n"), Cause::Protocol);
}

TEST(CauseOfFailure, nameThatWasNotResolved) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, *Settings::encrypted().load(log));
    const HostSocket socket = makeSocket();
    sockaddr_in nowhere{};
    nowhere.sin_family = AF_INET;
    EXPECT_EQ(stack->connect(socket.handle(), reinterpret_cast<const sockaddr*>(&nowhere),
                             sizeof nowhere),
              SOCKET_ERROR);
    EXPECT_EQ(dynamic_cast<IConnectionInfo&>(*stack).lastFailure().cause, Cause::Caller);
}

// --- Held bytes.

// Receives until the end, one byte at a time while nothing is held and else no more than is held.
std::string receiveAll(Peer& peer) {
    std::string all;
    for (;;) {
        const int held = std::clamp(infoOf(peer).heldBytes(), 1, 16384);
        const std::string piece = peer.receive(static_cast<std::size_t>(held)).value_or("");
        if (piece.empty()) {
            return all;
        }
        all += piece;
    }
}

TEST(ReceivingWhatIsHeld, losesNothing) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    std::string text(100'000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>('a' + i % 23);
    }
    std::jthread sending([&] {
        pair.server.sendAll(text);
        pair.server.socket = {};
    });
    EXPECT_EQ(receiveAll(pair.client), text);
}

TEST(ReceivingWhatIsHeld, neverWaitsForTheNetwork) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.server.sendAll("hello"));
    EXPECT_EQ(pair.client.receive(1), "h");
    EXPECT_EQ(infoOf(pair.client).heldBytes(), 4);
    EXPECT_EQ(pair.client.receive(4), "ello");
    EXPECT_EQ(infoOf(pair.client).heldBytes(), 0) << "it does not wait";
}

} // namespace
} // namespace VexaSsl::test
