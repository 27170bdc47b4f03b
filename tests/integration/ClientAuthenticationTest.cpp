// Which clients a server accepts that requires certificates, and the log lines about the others.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

constexpr unsigned long expired = 0x800B0101;
constexpr unsigned long missingIssuer = 0x800B010A; // the issuer is not sent
constexpr unsigned long untrustedRoot = 0x800B0109;
constexpr unsigned long wrongUsage = 0x800B0110;

Settings askingServer() {
    return Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "True");
}

ConnectedPair meetClient(const Settings& client, const Settings& server = askingServer()) {
    return connectPair({.client = client, .server = server});
}

// The client's handshake has succeeded before; the refusal is an end of the stream for it.
void expectRefused(ConnectedPair& pair) {
    EXPECT_EQ(pair.server.result, SOCKET_ERROR);
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_EQ(pair.client.result, 0);
    EXPECT_EQ(pair.client.receive(10).value_or(""), "");
}

MATCHER_P2(lineBeginning, severity, start, "") {
    return arg.severity == severity && arg.text.starts_with(start);
}

TEST(ClientAuthentication, anyTrustedClientIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending(pki::client));
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("known"));
    EXPECT_EQ(pair.server.receiveAll(5), "known");
    EXPECT_EQ(pair.server.log->count(Severity::Debug,
                                     L"The certificate chain is trusted for client authentication"),
              1U);
}

TEST(ClientAuthentication, listedNameIsAcceptedInAnyCase) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(
        Settings::clientSending(pki::client),
        askingServer().with("AcceptableClientCertificateToReceiveNames", "somebody,CLIENT.Test"));
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("listed"));
    EXPECT_EQ(pair.server.receiveAll(6), "listed");
}

TEST(ClientAuthentication, clientThatMaySendAnyCertificateSendsASuitableOne) {
    VEXASSL_NEEDS_ABILITY(Ability::searchByUsage);
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending("Any"));
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(pair.client.log->count(Severity::Info, L"Found a certificate to try"), 1U);
}

TEST(ClientAuthentication, clientWithAnIntermediateIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    EXPECT_TRUE(meetClient(Settings::clientSending(pki::clientWithIntermediate)).established());
}

TEST(ClientAuthentication, clientWithAnRsaKeyIsAccepted) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    EXPECT_TRUE(meetClient(Settings::clientSending(pki::clientRsa)).established());
}

TEST(ClientAuthentication, clientSendsNoCertificateUnlessRequested) {
    ConnectedPair pair = meetClient(Settings::clientSending(pki::untrustedClient),
                                    Settings::serverSending(pki::localhost));
    EXPECT_TRUE(pair.established());
    EXPECT_TRUE(pair.server.log->linesFrom(Severity::Warning).empty());
}

TEST(ClientAuthentication, clientWithoutACertificateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::encrypted());
    expectRefused(pair);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(
            warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                    L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"),
            error(L"Unable to obtain a certificate to authenticate the client by. Terminating "
                  L"connection"),
            error(L"Can't establish a security context. client authentication failed: can't get "
                  L"client cert")));
}

// The lines about an untrusted certificate.
void expectNotTrusted(const ConnectedPair& pair, unsigned long code) {
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
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

TEST(ClientAuthentication, clientOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending(pki::untrustedClient));
    expectRefused(pair);
    expectNotTrusted(pair, missingIssuer);
}

TEST(ClientAuthentication, selfSignedClientIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending(pki::selfSignedClient));
    expectRefused(pair);
    expectNotTrusted(pair, untrustedRoot);
}

TEST(ClientAuthentication, expiredClientIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending(pki::expiredClient));
    expectRefused(pair);
    expectNotTrusted(pair, expired);
}

TEST(ClientAuthentication, clientWithAServerCertificateIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair = meetClient(Settings::clientSending(pki::serverOnly));
    expectRefused(pair);
    expectNotTrusted(pair, wrongUsage);
}

TEST(ClientAuthentication, trustedClientWithAnotherNameIsRefusedAndNamesAreLogged) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair =
        meetClient(Settings::clientSending(pki::clientWithTwoNames),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "alpha,beta"));
    expectRefused(pair);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(
            info(L"All names on this certificate: [first.test] [second.test] "),
            info(L"The names we would accept are: [alpha], [beta]"),
            error(L"The certificate provided by the client is trusted, but not acceptable. "
                  L"Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"acceptable")));
}

TEST(ClientAuthentication, trustedClientWithoutNamesIsRefusedByAList) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair =
        meetClient(Settings::clientSending(pki::clientWithoutNames),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "alpha"));
    expectRefused(pair);
    EXPECT_EQ(pair.server.log->count(Severity::Info, L"All names on this certificate: "), 1U);
    EXPECT_EQ(pair.server.log->count(Severity::Info, L"The names we would accept are: [alpha]"),
              1U);
}

TEST(ClientAuthentication, acceptableNameInsideALongerOneIsRefused) {
    VEXASSL_NEEDS_ABILITY(Ability::requestClientCertificates);
    ConnectedPair pair =
        meetClient(Settings::clientSending(pki::client),
                   askingServer().with("AcceptableClientCertificateToReceiveNames", "client.tes"));
    expectRefused(pair);
}

TEST(ClientAuthentication, badOptionValueFailsAtTheFirstConnection) {
    ConnectedPair pair = meetClient(
        Settings::encrypted(),
        Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "Yes"));
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_EQ(pair.client.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(
            error(L"Supplied value [Yes] of RequireClientAuthentication is invalid"),
            error(
                L"An unexpected C++ standard library exception occurred: invalid configuration")));
}

} // namespace
} // namespace VexaSsl::test
