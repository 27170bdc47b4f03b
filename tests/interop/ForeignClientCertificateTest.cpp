// Other TLS clients with a server of the library that requests certificates, or doesn't.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "interop/Peers.h"
#include "interop/ServingForeigners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

Settings asking() {
    return Settings::serverSending(pki::localhost).with("RequireClientAuthentication", "True");
}

TEST(ForeignClientCertificate, opensslClientWithACertificateIsAccepted) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    Words options = openSslIdentity("client");
    options.push_back("-brief");
    const auto client = openSslClient(listener.port(), options);
    Peer server = acceptPeer(
        listener, asking().with("AcceptableClientCertificateToReceiveNames", "client.test"));
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
}

TEST(ForeignClientCertificate, opensslClientWithAnIntermediateIsAccepted) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    Words options = openSslIdentity("client-with-intermediate");
    options.push_back("-brief");
    const auto client = openSslClient(listener.port(), options);
    Peer server = acceptPeer(listener, asking());
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
}

TEST(ForeignClientCertificate, certificateInSeveralRecordsIsAccepted) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    Words options = openSslIdentity("client-with-intermediate");
    options.insert(options.end(), {"-brief", "-max_send_frag", "512"});
    const auto client = openSslClient(listener.port(), options);
    Peer server = acceptPeer(listener, asking());
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
}

TEST(ForeignClientCertificate, opensslClientWithoutARequiredCertificateIsRefused) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port(), {"-brief"});
    const Peer server = acceptPeer(listener, asking());
    EXPECT_EQ(server.error, WSAECONNABORTED);
    EXPECT_THAT(
        server.log->linesFrom(Severity::Info),
        ElementsAre(warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                            L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"),
                    error(L"Unable to obtain a certificate to authenticate the client by. "
                          L"Terminating connection"),
                    error(L"Can't establish a security context. client authentication failed: "
                          L"can't get client cert")));
}

TEST(ForeignClientCertificate, opensslClientWithACertificateIsAcceptedWhenNoneIsRequested) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    Words options = openSslIdentity("client-untrusted");
    options.push_back("-brief");
    const auto client = openSslClient(listener.port(), options);
    Peer server = acceptPeer(listener, Settings::serverSending(pki::localhost));
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
}

TEST(ForeignClientCertificate, gnutlsClientWithACertificateIsAccepted) {
    VEXASSL_NEEDS("gnutls-cli");
    const Listener listener;
    const auto client = gnuTlsClient(listener.port(), gnuTlsIdentity("client-rsa"));
    Peer server = acceptPeer(listener, asking());
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
}

TEST(ForeignClientCertificate, gnutlsClientOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS("gnutls-cli");
    const Listener listener;
    const auto client = gnuTlsClient(listener.port(), gnuTlsIdentity("client-untrusted"));
    const Peer server = acceptPeer(listener, asking());
    EXPECT_EQ(server.error, WSAECONNABORTED);
    EXPECT_EQ(server.log->count(Severity::Error,
                                L"Can't establish a security context. client authentication "
                                L"failed: cert not trusted"),
              1U);
}

TEST(ForeignClientCertificate, curlWithACertificateFetchesAPage) {
    VEXASSL_NEEDS("curl");
    const Listener listener;
    const auto client = curl(listener.port(), curlIdentity("client"));
    Peer server = acceptPeer(listener, asking());
    ASSERT_TRUE(server.established()) << client->output();
    answerRequest(server);
    EXPECT_EQ(client->exitStatus(), 0) << client->output();
    EXPECT_EQ(client->output(), page);
}

} // namespace
} // namespace VexaSsl::test
