// Which clients a server that asks for certificates lets stay, and what its log says of the others.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

constexpr unsigned long expired = 0x800B0101;
constexpr unsigned long missingIssuer = 0x800B010A; // its authority is not sent
constexpr unsigned long untrustedRoot = 0x800B0109;
constexpr unsigned long wrongUsage = 0x800B0110;

Settings askingServer() {
    return Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "True");
}

Meeting meetClient(const Settings& client, const Settings& server = askingServer()) {
    return meet({.client = client, .server = server});
}

// The client has finished its handshake by then: it learns of the refusal by the end of the stream.
void expectRefused(Meeting& meeting) {
    EXPECT_EQ(meeting.server.result, SOCKET_ERROR);
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_EQ(meeting.client.result, 0);
    EXPECT_EQ(meeting.client.receive(10).value_or(""), "");
}

MATCHER_P2(lineBeginning, severity, start, "") {
    return arg.severity == severity && arg.text.starts_with(start);
}

TEST(ClientAuthentication, aTrustedClientStaysWhenAnyIsAcceptable) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending(pki::client));
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("known"));
    EXPECT_EQ(meeting.server.hear(5), "known");
    EXPECT_EQ(meeting.server.log->count(
                  Severity::Debug, L"The certificate chain is trusted for client authentication"),
              1U);
}

TEST(ClientAuthentication, aClientWhoseNameIsListedStaysWhateverTheCase) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(
        Settings::clientSending(pki::client),
        askingServer().with("AcceptableClientCertificateToReceiveNames", "somebody,CLIENT.Test"));
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("listed"));
    EXPECT_EQ(meeting.server.hear(6), "listed");
}

TEST(ClientAuthentication, aClientThatMaySendAnySendsASuitableOne) {
    VEXASSL_NEEDS_ABILITY(Ability::searchByUsage);
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending("Any"));
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(meeting.client.log->count(Severity::Info, L"Found a certificate to try"), 1U);
}

TEST(ClientAuthentication, aClientBehindAnIntermediateStays) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    EXPECT_TRUE(meetClient(Settings::clientSending(pki::clientBehindIntermediate)).established());
}

TEST(ClientAuthentication, aClientWithAnRsaKeyStays) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    EXPECT_TRUE(meetClient(Settings::clientSending(pki::clientRsa)).established());
}

TEST(ClientAuthentication, aClientThatIsNotAskedSendsNothingAndStays) {
    Meeting meeting = meetClient(Settings::clientSending(pki::untrustedClient),
                                 Settings::serverSending(pki::localhost));
    EXPECT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.server.log->linesFrom(Severity::Warning).empty());
}

TEST(ClientAuthentication, aClientWithoutACertificateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::encrypted());
    expectRefused(meeting);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                    L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"),
            error(L"Unable to obtain a certificate to authenticate the client by. Terminating "
                  L"connection"),
            error(L"Can't establish a security context. client authentication failed: can't get "
                  L"client cert")));
}

// The lines of a certificate that isn't trusted, from the verdict to the end of the connection.
void expectNotTrusted(const Meeting& meeting, unsigned long code) {
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Warning, L"CertVerifyCertificateChainPolicy returned status: " +
                                                std::to_wstring(code) + L" ("),
            info(L"The certificate chain is not trusted for client authentication"),
            info(L"The following information is not complete, but provided as a starting point. "
                 L"Please inspect the certificate chain through the Microsoft Management Console"),
            lineBeginning(Severity::Info, L"This error applies to the "),
            error(L"The certificate provided by the client is not trusted. Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"trusted")));
}

TEST(ClientAuthentication, aClientOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending(pki::untrustedClient));
    expectRefused(meeting);
    expectNotTrusted(meeting, missingIssuer);
}

TEST(ClientAuthentication, aSelfSignedClientIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending(pki::selfSignedClient));
    expectRefused(meeting);
    expectNotTrusted(meeting, untrustedRoot);
}

TEST(ClientAuthentication, anExpiredClientIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending(pki::expiredClient));
    expectRefused(meeting);
    expectNotTrusted(meeting, expired);
}

TEST(ClientAuthentication, aClientWithACertificateForServersIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting = meetClient(Settings::clientSending(pki::serverOnly));
    expectRefused(meeting);
    expectNotTrusted(meeting, wrongUsage);
}

TEST(ClientAuthentication, aTrustedClientOfAnotherNameIsRefusedAndBothSidesNamesAreTold) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting =
        meetClient(Settings::clientSending(pki::clientWithTwoNames),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "alpha,beta"));
    expectRefused(meeting);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            info(L"All names on this certificate: [first.test] [second.test] "),
            info(L"The names we would accept are: [alpha], [beta]"),
            error(L"The certificate provided by the client is trusted, but not acceptable. "
                  L"Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"acceptable")));
}

TEST(ClientAuthentication, aTrustedClientWithoutNamesIsRefusedByAList) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting =
        meetClient(Settings::clientSending(pki::clientWithoutNames),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "alpha"));
    expectRefused(meeting);
    EXPECT_EQ(meeting.server.log->count(Severity::Info, L"All names on this certificate: "), 1U);
    EXPECT_EQ(meeting.server.log->count(Severity::Info, L"The names we would accept are: [alpha]"),
              1U);
}

TEST(ClientAuthentication, anAcceptableNameInsideALongerOneIsNotEnough) {
    VEXASSL_NEEDS_ABILITY(Ability::askClients);
    Meeting meeting =
        meetClient(Settings::clientSending(pki::client),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "client.tes"));
    expectRefused(meeting);
}

TEST(ClientAuthentication, aBadWordForTheOptionFailsTheFirstConnectionOnly) {
    Meeting meeting = meetClient(
        Settings::encrypted(),
        Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "Yes"));
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_EQ(meeting.client.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            error(L"Supplied value [Yes] of RequireClientAuthentication is invalid"),
            error(
                L"An unexpected C++ standard library exception occurred: invalid configuration")));
}

} // namespace
} // namespace VexaSsl::test
