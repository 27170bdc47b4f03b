// Other TLS clients with a server of the library. Their data and their messages about the
// verification are checked, not what they say about the missing closure.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pattern.h"
#include "interop/Peers.h"
#include "interop/ServingForeigners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Accepts with the certificate of the case.
std::string subjectOf(const std::string& name) {
    return "case " + name + ",";
}

Peer serve(const Listener& listener, const std::string& name = "server-rsa") {
    return acceptPeer(listener, Settings::serverSending(subjectOf(name)));
}

class ServedCertificate : public ::testing::TestWithParam<std::string> {};

TEST_P(ServedCertificate, opensslVerifiesItAndDataArrivesInBothDirections) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port(), {"-brief"});
    Peer server = serve(listener, GetParam());
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
    EXPECT_THAT(client->output(), HasSubstr("Verification: OK"));
    EXPECT_THAT(client->output(), HasSubstr("Protocol version: TLSv1.2"));
}

TEST_P(ServedCertificate, gnutlsVerifiesItAndDataArrivesInBothDirections) {
    VEXASSL_NEEDS("gnutls-cli");
    const Listener listener;
    const auto client = gnuTlsClient(listener.port());
    Peer server = serve(listener, GetParam());
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
    EXPECT_THAT(client->output(), HasSubstr("Status: The certificate is trusted"));
}

TEST_P(ServedCertificate, curlVerifiesItAndFetchesAPage) {
    VEXASSL_NEEDS("curl");
    const Listener listener;
    const auto client = curl(listener.port());
    Peer server = serve(listener, GetParam());
    ASSERT_TRUE(server.established()) << client->output();
    answerRequest(server);
    EXPECT_EQ(client->exitStatus(), 0) << client->output();
    EXPECT_EQ(client->output(), page);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ServedCertificate,
                         ::testing::Values("server-rsa", "server-ecdsa", "with-intermediate"),
                         [](const auto& kind) { return asTestName(kind.param); });

// --- Cipher suites.

class ForcedSuite : public ::testing::TestWithParam<Suite> {};

TEST_P(ForcedSuite, opensslClientConnects) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client =
        openSslClient(listener.port(), {"-brief", "-tls1_2", "-cipher", GetParam().openSsl});
    Peer server = serve(listener, GetParam().certificate);
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
    EXPECT_THAT(client->output(), HasSubstr("Ciphersuite: " + GetParam().openSsl));
}

TEST_P(ForcedSuite, gnutlsClientConnects) {
    VEXASSL_NEEDS("gnutls-cli");
    const Listener listener;
    const auto client =
        gnuTlsClient(listener.port(), {"--priority=NORMAL:-VERS-ALL:+VERS-TLS1.2:-CIPHER-ALL:+" +
                                       GetParam().gnuTls});
    Peer server = serve(listener, GetParam().certificate);
    ASSERT_TRUE(server.established()) << client->output();
    converse(server, *client);
    EXPECT_THAT(client->output(), HasSubstr("(" + GetParam().gnuTls + ")"));
}

INSTANTIATE_TEST_SUITE_P(
    Suites, ForcedSuite,
    ::testing::Values(Suite{"server-rsa", "ECDHE-RSA-AES128-GCM-SHA256", "AES-128-GCM"},
                      Suite{"server-rsa", "ECDHE-RSA-AES256-GCM-SHA384", "AES-256-GCM"},
                      Suite{"server-rsa", "ECDHE-RSA-CHACHA20-POLY1305", "CHACHA20-POLY1305"},
                      Suite{"server-ecdsa", "ECDHE-ECDSA-AES128-GCM-SHA256", "AES-128-GCM"},
                      Suite{"server-ecdsa", "ECDHE-ECDSA-AES256-GCM-SHA384", "AES-256-GCM"},
                      Suite{"server-ecdsa", "ECDHE-ECDSA-CHACHA20-POLY1305", "CHACHA20-POLY1305"}),
    [](const auto& kind) { return asTestName(kind.param.openSsl); });

// --- Servers that a client refuses.

TEST(ForeignClient, opensslRefusesAServerWithAnotherName) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port(), {"-brief"});
    const Peer server = serve(listener, "wrong-name");
    EXPECT_EQ(server.error, WSAECONNABORTED);
    EXPECT_TRUE(client->shows("ostname mismatch")) << client->output();
}

TEST(ForeignClient, curlRefusesAServerOfAnUnknownAuthority) {
    VEXASSL_NEEDS("curl");
    const Listener listener;
    const auto client = curl(listener.port());
    // Whether the server sees a handshake that fails differs between curl's versions.
    const Peer server = serve(listener, "untrusted");
    EXPECT_EQ(client->exitStatus(), 60) << client->output();
}

// --- Larger data.

TEST(ForeignClient, mebibyteFromOpensslIsEchoedUnchanged) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port(), {"-quiet", "-verify_quiet"});
    Peer server = serve(listener);
    ASSERT_TRUE(server.established()) << client->output();
    const std::string text(Pattern{}.at(0, 1 << 20 | 1));
    std::jthread sending([&] { client->sendAll(text); });
    std::size_t echoed = 0;
    while (echoed < text.size()) {
        const auto heard = server.receive(100000);
        if (!heard || heard->empty() || !server.sendAll(*heard)) {
            break;
        }
        echoed += heard->size();
    }
    sending.join();
    EXPECT_EQ(echoed, text.size());
    EXPECT_TRUE(client->showsBytes(text.size()));
    EXPECT_NE(client->output().find(text), std::string::npos);
}

// --- TLS 1.3, renegotiation and closure.

TEST(ForeignClient, clientOfTls13AloneIsRefused) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port(), {"-tls1_3"});
    const Peer server = serve(listener);
    EXPECT_EQ(server.error, WSAECONNABORTED);
    EXPECT_THAT(
        server.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Error, L"AcceptSecurityContext failed with: "),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    server.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. AcceptSecurityContext failed")));
}

TEST(ForeignClient, requestToRenegotiateIsTheEndOfTheStream) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port());
    Peer server = serve(listener);
    ASSERT_TRUE(server.established()) << client->output();
    ASSERT_TRUE(client->sendAll("before\n"));
    EXPECT_EQ(server.receiveAll(7), "before\n");
    ASSERT_TRUE(client->sendAll("R\n"));
    EXPECT_EQ(server.receive(100), "");
    EXPECT_THAT(server.log->linesFrom(Severity::Info),
                ::testing::Contains(info(L"Renegotiate request received")));
}

TEST(ForeignClient, closureIsTheEndOfTheStreamAndAnErrorLine) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port());
    Peer server = serve(listener);
    ASSERT_TRUE(server.established()) << client->output();
    ASSERT_TRUE(client->sendAll("before\n"));
    EXPECT_EQ(server.receiveAll(7), "before\n");
    ASSERT_TRUE(client->sendAll("Q\n"));
    EXPECT_EQ(server.receive(100), "");
    EXPECT_THAT(server.log->linesFrom(Severity::Warning),
                ElementsAre(systemError(L"DecryptMessage", 0x00090317)));
}

TEST(ForeignClient, closureResetsAnOverlappedReceive) {
    VEXASSL_NEEDS("openssl");
    const Listener listener;
    const auto client = openSslClient(listener.port());
    Peer server = serve(listener);
    ASSERT_TRUE(server.established()) << client->output();
    ASSERT_TRUE(client->sendAll("Q\n"));
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_GT(count, 0U);
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), -1);
    EXPECT_EQ(platform::WSAGetLastError(), WSAECONNRESET);
    EXPECT_EQ(count, 0U);
}

} // namespace
} // namespace VexaSsl::test
