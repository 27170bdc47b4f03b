// Which servers a client refuses, and the lines in both logs.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <stdexcept>
#include <thread>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

constexpr unsigned long wrongPrincipal = 0x80090322;
constexpr unsigned long untrustedRoot = 0x80090325;
constexpr unsigned long certificateExpired = 0x80090328;
constexpr unsigned long wrongUsage = 0x80090349;

ConnectedPair meetServer(const std::string& certificate, const std::string& host = "localhost") {
    return connectPair({.client = Settings::encrypted(),
                        .server = Settings::serverSending(certificate),
                        .host = host});
}

void expectRefusal(const ConnectedPair& pair, unsigned long status) {
    EXPECT_EQ(pair.client.result, SOCKET_ERROR);
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_EQ(pair.server.result, SOCKET_ERROR);
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", status),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    pair.client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
    EXPECT_THAT(pair.server.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, serverWithAnotherNameIsRefusedWithTheReason) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair = meetServer(pki::otherName);
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", wrongPrincipal),
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"),
            info(L"It is not possible to report the names on the certificate."),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    pair.client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
    EXPECT_THAT(pair.server.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, addressMissingInTheCertificateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair = meetServer(pki::otherName, "127.0.0.1");
    EXPECT_EQ(pair.client.log->linesWith(L"SEC_E_WRONG_PRINCIPAL").size(), 1U);
    EXPECT_FALSE(pair.client.established());
}

TEST(Trust, addressInTheCertificateIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    EXPECT_TRUE(meetServer(pki::localhost, "127.0.0.1").established());
}

TEST(Trust, ipv6AddressInTheCertificateIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    std::optional<Listener> listener;
    try {
        listener.emplace(AF_INET6);
    } catch (const std::runtime_error& reason) {
        GTEST_SKIP() << "no IPv6 loopback address: " << reason.what();
    }
    Peer server;
    std::jthread serving([&] {
        server =
            acceptPeer(*listener, Settings::serverSending(pki::localhost), Accepting::blocking);
    });
    Peer client = connectPeer(listener->port(), Settings::encrypted(), "::1");
    serving.join();
    EXPECT_TRUE(client.established());
    EXPECT_TRUE(server.established());
}

TEST(Trust, nameOfTheWideResolutionIsVerified) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const Listener listener;
    Peer server;
    std::jthread serving(
        [&] { server = acceptPeer(listener, Settings::serverSending(pki::otherName)); });
    Peer client;
    client.stack = instantiateSocketStrategy(*client.log, *Settings::encrypted().load(*client.log));
    ADDRINFOW hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW* found = nullptr;
    ASSERT_EQ(client.stack->GetAddrInfoW(L"localhost", std::to_wstring(listener.port()).c_str(),
                                         &hints, &found),
              0);
    client.socket = makeSocket();
    EXPECT_EQ(client.stack->connect(client.socket.handle(), found->ai_addr,
                                    static_cast<int>(found->ai_addrlen)),
              SOCKET_ERROR);
    platform::FreeAddrInfoW(found);
    serving.join();
    EXPECT_EQ(client.log->linesWith(L"match the address we connected to [localhost]").size(), 1U);
}

TEST(Trust, serverOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::untrusted), untrustedRoot);
}

TEST(Trust, selfSignedServerIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::selfSigned), untrustedRoot);
}

TEST(Trust, expiredServerIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::expired), certificateExpired);
}

TEST(Trust, serverThatIsNotYetValidIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::notYetValid), certificateExpired);
}

TEST(Trust, serverWithAClientCertificateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::clientOnly), wrongUsage);
}

TEST(Trust, serverThatSendsNoIntermediateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectRefusal(meetServer(pki::missingIntermediate), untrustedRoot);
}

TEST(Trust, serverWhoseIssuerIsNoAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair = meetServer(pki::signedByALeaf);
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_EQ(pair.client.log->linesWith(L"InitializeSecurityContext failed with: ").size(), 1U);
}

TEST(Trust, nameWithAZeroDoesNotMatchThePartBeforeTheZero) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair = meetServer(pki::zeroInName);
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_FALSE(pair.client.established());
}

TEST(Trust, serverCertificateWithoutAUsageIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    EXPECT_TRUE(meetServer(pki::withoutUsage).established());
}

TEST(Trust, serverWithAnEllipticKeyIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::ellipticKeys);
    ConnectedPair pair = meetServer(pki::localhostElliptic);
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("curve"));
    EXPECT_EQ(pair.server.receiveAll(5), "curve");
}

TEST(Trust, serverWithAnIntermediateIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::sendIntermediates);
    ConnectedPair pair = meetServer(pki::withIntermediate);
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("chain"));
    EXPECT_EQ(pair.server.receiveAll(5), "chain");
}

TEST(Trust, bothSidesLogTheConnection) {
    const ConnectedPair pair = meetServer(pki::localhost);
    ASSERT_TRUE(pair.established());
    EXPECT_THAT(
        pair.client.log->linesFrom(Severity::Info),
        ElementsAre(info(L"An encrypted connection has been successfully initialised on socket [" +
                         pair.client.socketNumber() + L"] (client side)")));
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(info(L"An encrypted connection has been successfully initialised on socket [" +
                         pair.server.socketNumber() + L"] (server side)")));
}

TEST(Trust, failedHandshakeShutsTheSocketDownAndLeavesItOpen) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    const ConnectedPair pair = meetServer(pki::untrusted);
    EXPECT_TRUE(isShutForSending(pair.client.socket.handle()));
}

TEST(Trust, handshakeEndedByThePeerShutsTheSocketDownAndLeavesItOpen) {
    const ConnectedPair pair = meetServer("nobody has this name");
    EXPECT_FALSE(pair.client.established());
    EXPECT_TRUE(isShutForSending(pair.client.socket.handle()));
}

// The server's thread has its own machine name, which the search for a suitable certificate uses.
TEST(Trust, serverThatMaySendAnyCertificateSendsThatOfItsMachine) {
    VEXASSL_NEEDS_ABILITY(Ability::renameMachine);
    const Listener listener;
    Peer server;
    std::promise<bool> renamed;
    std::jthread serving([&] {
        const bool done = renameMachineOfThisThread(pki::machineName);
        renamed.set_value(done);
        if (done) {
            server = acceptPeer(listener, Settings::encrypted());
        }
    });
    if (!renamed.get_future().get()) {
        serving.join();
        GTEST_SKIP() << "no permission to set the machine name of a thread";
    }
    const Peer client = connectPeer(listener.port(), Settings::encrypted());
    serving.join();
    EXPECT_TRUE(client.established());
    const std::wstring name(pki::machineName.begin(), pki::machineName.end());
    EXPECT_THAT(
        server.log->linesFrom(Severity::Info),
        ElementsAre(info(L"Found a certificate to try"),
                    info(L"All names on this certificate: [" + name + L"] [localhost] "),
                    info(L"An encrypted connection has been successfully initialised on socket [" +
                         server.socketNumber() + L"] (server side)")));
}

TEST(Trust, unknownServerCertificateNameFailsTheConnection) {
    const ConnectedPair pair = meetServer("nobody has this name");
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Error, L"CertFindCertificateInStore (by name) failed with: "),
            info(L"Name searched for: [nobody has this name]"),
            error(L"Was not able to find a certificate with the name [nobody has this name]"),
            error(L"Can't establish a security context. no available certificate")));
    EXPECT_THAT(pair.client.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, serverWithCertificateNoneFailsAtItsFirstConnection) {
    const ConnectedPair pair = meetServer("none");
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(error(L"Supplied value [none] of ServerCertificateToSendName is invalid. "
                          L"Servers MUST send certificates"),
                    error(L"An unexpected C++ standard library exception occurred: invalid "
                          L"configuration")));
}

TEST(Trust, plainClientIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::detectPlainText);
    ConnectedPair pair;
    const Listener listener;
    {
        const HostSocket stranger = rawConnection(listener.port());
        const std::string request = "GET / HTTP/1.0\r\n\r\n";
        EXPECT_EQ(sendBytes(stranger.handle(), request), static_cast<int>(request.size()));
        pair.server = acceptPeer(listener, Settings::serverSending(pki::localhost));
    }
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Warning),
        ElementsAre(
            lineStarting(Severity::Error, L"AcceptSecurityContext failed with: "),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    pair.server.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. AcceptSecurityContext failed")));
}

} // namespace
} // namespace VexaSsl::test
