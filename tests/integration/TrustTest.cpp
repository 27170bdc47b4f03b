// Which servers a client refuses, and what both logs say then, line by line.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
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

Meeting meetServer(const std::string& certificate, const std::string& host = "localhost") {
    return meet({.client = Settings::encrypted(),
                 .server = Settings::serverSending(certificate),
                 .host = host});
}

void expectRefusal(const Meeting& meeting, unsigned long status) {
    EXPECT_EQ(meeting.client.result, SOCKET_ERROR);
    EXPECT_EQ(meeting.client.error, WSAECONNABORTED);
    EXPECT_EQ(meeting.server.result, SOCKET_ERROR);
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", status),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    meeting.client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
    EXPECT_THAT(meeting.server.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, aServerOfAnotherNameIsRefusedWithTheReason) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Meeting meeting = meetServer(pki::otherName);
    EXPECT_EQ(meeting.client.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", wrongPrincipal),
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"),
            info(L"It is not possible to report the names on the certificate."),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    meeting.client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
    EXPECT_THAT(meeting.server.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, anAddressThatTheCertificateDoesNotNameIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Meeting meeting = meetServer(pki::otherName, "127.0.0.1");
    EXPECT_EQ(meeting.client.log->linesWith(L"SEC_E_WRONG_PRINCIPAL").size(), 1U);
    EXPECT_FALSE(meeting.client.established());
}

TEST(Trust, aServerReachedByItsAddressIsAcceptedWhenTheCertificateNamesIt) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    EXPECT_TRUE(meetServer(pki::localhost, "127.0.0.1").established());
}

TEST(Trust, aServerReachedByItsLongAddressIsAcceptedWhenTheCertificateNamesIt) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    std::optional<Listener> listener;
    try {
        listener.emplace(AF_INET6);
    } catch (const std::runtime_error& reason) {
        GTEST_SKIP() << "no loopback of the sixth version: " << reason.what();
    }
    Peer server;
    std::jthread serving([&] {
        server = answer(*listener, Settings::serverSending(pki::localhost), Accepting::blocking);
    });
    Peer client = dial(listener->port(), Settings::encrypted(), "::1");
    serving.join();
    EXPECT_TRUE(client.established());
    EXPECT_TRUE(server.established());
}

TEST(Trust, theNameOfAWideResolutionIsTheOneThatCounts) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Listener listener;
    Peer server;
    std::jthread serving(
        [&] { server = answer(listener, Settings::serverSending(pki::otherName)); });
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

TEST(Trust, aServerOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::untrusted), untrustedRoot);
}

TEST(Trust, aSelfSignedServerIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::selfSigned), untrustedRoot);
}

TEST(Trust, anExpiredServerIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::expired), certificateExpired);
}

TEST(Trust, aServerThatIsNotYetValidIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::notYetValid), certificateExpired);
}

TEST(Trust, aServerWithACertificateForClientsIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::clientOnly), wrongUsage);
}

TEST(Trust, aServerThatKeepsItsIntermediateToItselfIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectRefusal(meetServer(pki::missingIntermediate), untrustedRoot);
}

TEST(Trust, aServerWhoseIssuerIsNoAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Meeting meeting = meetServer(pki::signedByALeaf);
    EXPECT_EQ(meeting.client.error, WSAECONNABORTED);
    EXPECT_EQ(meeting.client.log->linesWith(L"InitializeSecurityContext failed with: ").size(), 1U);
}

TEST(Trust, aNameWithAZeroInsideIsNotTheNameBeforeTheZero) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Meeting meeting = meetServer(pki::zeroInName);
    EXPECT_EQ(meeting.client.error, WSAECONNABORTED);
    EXPECT_FALSE(meeting.client.established());
}

TEST(Trust, aServerWithoutAUsageIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    EXPECT_TRUE(meetServer(pki::withoutUsage).established());
}

TEST(Trust, aServerWithAnEllipticKeyIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::ellipticKeys);
    Meeting meeting = meetServer(pki::localhostElliptic);
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("curve"));
    EXPECT_EQ(meeting.server.hear(5), "curve");
}

TEST(Trust, aServerBehindAnIntermediateIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::sendIntermediates);
    Meeting meeting = meetServer(pki::behindIntermediate);
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("chain"));
    EXPECT_EQ(meeting.server.hear(5), "chain");
}

TEST(Trust, bothSidesReportTheConnectionTheyMade) {
    const Meeting meeting = meetServer(pki::localhost);
    ASSERT_TRUE(meeting.established());
    EXPECT_THAT(
        meeting.client.log->linesFrom(Severity::Info),
        ElementsAre(info(L"An encrypted connection has been successfully initialised on socket [" +
                         meeting.client.socketNumber() + L"] (client side)")));
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(info(L"An encrypted connection has been successfully initialised on socket [" +
                         meeting.server.socketNumber() + L"] (server side)")));
}

TEST(Trust, aFailedHandshakeShutsTheSocketDownAndLeavesItOpen) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    const Meeting meeting = meetServer(pki::untrusted);
    EXPECT_TRUE(isShutForSending(meeting.client.socket.handle()));
}

TEST(Trust, aHandshakeThatThePeerEndsShutsTheSocketDownAndLeavesItOpen) {
    const Meeting meeting = meetServer("nobody has this name");
    EXPECT_FALSE(meeting.client.established());
    EXPECT_TRUE(isShutForSending(meeting.client.socket.handle()));
}

// The server's thread gets a machine name of its own, which the search for a suitable certificate
// goes by.
TEST(Trust, aServerThatMaySendAnyFindsTheCertificateOfItsMachine) {
    VEXASSL_NEEDS_ABILITY(Ability::renameMachine);
    const Listener listener;
    Peer server;
    std::promise<bool> renamed;
    std::jthread serving([&] {
        const bool done = renameMachineOfThisThread(pki::machineName);
        renamed.set_value(done);
        if (done) {
            server = answer(listener, Settings::encrypted());
        }
    });
    if (!renamed.get_future().get()) {
        serving.join();
        GTEST_SKIP() << "needs the right to give a thread a machine name of its own";
    }
    const Peer client = dial(listener.port(), Settings::encrypted());
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

TEST(Trust, aServerNameThatNoCertificateHasFailsTheConnection) {
    const Meeting meeting = meetServer("nobody has this name");
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Error, L"CertFindCertificateInStore (by name) failed with: "),
            info(L"Name searched for: [nobody has this name]"),
            error(L"Was not able to find a certificate with the name [nobody has this name]"),
            error(L"Can't establish a security context. no available certificate")));
    EXPECT_THAT(meeting.client.log->linesFrom(Severity::Info),
                ElementsAre(warning(L"Connection closed (during negotiation)"),
                            error(L"Can't establish a security context. Connection closed")));
}

TEST(Trust, aServerToldToSendNoCertificateFailsAtItsFirstConnection) {
    const Meeting meeting = meetServer("none");
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(error(L"Supplied value [none] of ServerCertificateToSendName is invalid. "
                          L"Servers MUST send certificates"),
                    error(L"An unexpected C++ standard library exception occurred: invalid "
                          L"configuration")));
}

TEST(Trust, aPlainClientDoesNotGetThrough) {
    VEXASSL_NEEDS_ABILITY(Ability::notePlainText);
    Meeting meeting;
    const Listener listener;
    {
        const HostSocket stranger = rawConnection(listener.port());
        const std::string request = "GET / HTTP/1.0\r\n\r\n";
        EXPECT_EQ(sendBytes(stranger.handle(), request), static_cast<int>(request.size()));
        meeting.server = answer(listener, Settings::serverSending(pki::localhost));
    }
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Warning),
        ElementsAre(
            lineStarting(Severity::Error, L"AcceptSecurityContext failed with: "),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    meeting.server.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. AcceptSecurityContext failed")));
}

} // namespace
} // namespace VexaSsl::test
