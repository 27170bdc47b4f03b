// Other TLS servers with a client of the library.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pattern.h"
#include "interop/Peers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// With -rev the server returns a line reversed.
void converseReversed(Peer& client) {
    ASSERT_TRUE(client.sendAll("stressed\n"));
    EXPECT_EQ(client.receiveAll(9), "desserts\n");
}

void converseEchoed(Peer& client) {
    ASSERT_TRUE(client.sendAll("a line and its echo\n"));
    EXPECT_EQ(client.receiveAll(20), "a line and its echo\n");
}

class CalledCertificate : public ::testing::TestWithParam<std::string> {};

TEST_P(CalledCertificate, opensslServerIsVerifiedAndDataArrivesInBothDirections) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer(GetParam(), {"-rev"});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
}

TEST_P(CalledCertificate, gnutlsServerIsVerifiedAndDataArrivesInBothDirections) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer(GetParam());
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseEchoed(client);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CalledCertificate,
                         ::testing::Values("server-rsa", "server-ecdsa", "with-intermediate"),
                         [](const auto& kind) { return asTestName(kind.param); });

class CalledSuite : public ::testing::TestWithParam<Suite> {};

TEST_P(CalledSuite, opensslServerIsConnectedTo) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server =
        openSslServer(GetParam().certificate, {"-rev", "-cipher", GetParam().openSsl});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
    EXPECT_TRUE(server.program->shows("Ciphersuite: " + GetParam().openSsl))
        << server.program->output();
}

TEST_P(CalledSuite, gnutlsServerIsConnectedTo) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer(
        GetParam().certificate, {"--priority=NORMAL:-CIPHER-ALL:+" + GetParam().gnuTls});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseEchoed(client);
    EXPECT_TRUE(server.program->shows("Cipher: " + GetParam().gnuTls)) << server.program->output();
}

INSTANTIATE_TEST_SUITE_P(
    Suites, CalledSuite,
    ::testing::Values(Suite{"server-rsa", "ECDHE-RSA-AES128-GCM-SHA256", "AES-128-GCM"},
                      Suite{"server-rsa", "ECDHE-RSA-CHACHA20-POLY1305", "CHACHA20-POLY1305"},
                      Suite{"server-ecdsa", "ECDHE-ECDSA-AES256-GCM-SHA384", "AES-256-GCM"},
                      Suite{"server-ecdsa", "ECDHE-ECDSA-CHACHA20-POLY1305", "CHACHA20-POLY1305"}),
    [](const auto& kind) { return asTestName(kind.param.openSsl); });

// --- Servers that the client refuses.

TEST(ForeignServer, serverWithAnotherNameIsRefusedWithTheReason) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("wrong-name");
    const Peer client = connectPeer(server.port, Settings::encrypted());
    EXPECT_EQ(client.error, WSAECONNABORTED);
    EXPECT_THAT(
        client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", 0x80090322),
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [localhost]"),
            info(L"It is not possible to report the names on the certificate."),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
}

void expectRefusal(const Peer& client, unsigned long status) {
    EXPECT_EQ(client.error, WSAECONNABORTED);
    EXPECT_THAT(
        client.log->linesFrom(Severity::Info),
        ElementsAre(
            systemError(L"InitializeSecurityContext", status),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
}

TEST(ForeignServer, serverOfAnUnknownAuthorityIsRefused) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer("untrusted");
    expectRefusal(connectPeer(server.port, Settings::encrypted()), 0x80090325);
}

TEST(ForeignServer, expiredServerIsRefused) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("expired");
    expectRefusal(connectPeer(server.port, Settings::encrypted()), 0x80090328);
}

TEST(ForeignServer, serverThatSendsNoIntermediateIsRefused) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("missing-intermediate");
    expectRefusal(connectPeer(server.port, Settings::encrypted()), 0x80090325);
}

TEST(ForeignServer, serverOfTls13AloneIsRefused) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("server-rsa", {"-tls1_3"});
    const Peer client = connectPeer(server.port, Settings::encrypted());
    EXPECT_EQ(client.error, WSAECONNABORTED);
    EXPECT_THAT(
        client.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Error, L"InitializeSecurityContext failed with: "),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
}

TEST(ForeignServer, serverWithoutTlsIsRefused) {
    const Listener listener;
    std::jthread speaking([&] {
        Peer plain = acceptPeer(listener, Settings::plain());
        plain.sendAll("220 a greeting in the clear\r\n");
        plain.receive(1000);
    });
    const Peer client = connectPeer(listener.port(), Settings::encrypted());
    speaking.join();
    EXPECT_EQ(client.error, WSAECONNABORTED);
    EXPECT_THAT(
        client.log->linesFrom(Severity::Warning),
        ElementsAre(
            lineStarting(Severity::Error, L"InitializeSecurityContext failed with: "),
            warning(L"An encrypted connection could not be successfully initialised on socket [" +
                    client.socketNumber() + L"]. Aborting"),
            error(L"Can't establish a security context. InitializeSecurityContext failed")));
}

// --- Client certificates: requested, required and missing.

TEST(ForeignServer, opensslReceivesARequestedCertificate) {
    VEXASSL_NEEDS("openssl");
    // The default format of names differs between versions.
    const ForeignServer server = openSslServer(
        "server-rsa", {"-verify", "2", "-verify_return_error", "-rev", "-nameopt", "RFC2253"});
    Peer client = connectPeer(server.port, Settings::clientSending(pki::client));
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
    EXPECT_TRUE(server.program->shows("CN=client.test")) << server.program->output();
}

TEST(ForeignServer, opensslContinuesWithoutARequestedCertificate) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server =
        openSslServer("server-rsa", {"-verify", "2", "-verify_return_error", "-rev"});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
}

TEST(ForeignServer, opensslReceivesARequiredCertificateAndItsIntermediate) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server =
        openSslServer("server-ecdsa", {"-Verify", "2", "-verify_return_error", "-rev"});
    Peer client = connectPeer(server.port, Settings::clientSending(pki::clientWithIntermediate));
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
}

TEST(ForeignServer, opensslRefusesAClientWithoutARequiredCertificate) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server =
        openSslServer("server-rsa", {"-Verify", "2", "-verify_return_error", "-rev"});
    const Peer client = connectPeer(server.port, Settings::encrypted());
    EXPECT_EQ(client.error, WSAECONNABORTED);
    EXPECT_EQ(client.log->linesFrom(Severity::Error).back(),
              error(L"Can't establish a security context. InitializeSecurityContext failed"));
}

TEST(ForeignServer, gnutlsReceivesARequiredCertificate) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server =
        gnuTlsServer("server-ecdsa", {"--require-client-cert", "--verify-client-cert"});
    Peer client = connectPeer(server.port, Settings::clientSending(pki::clientRsa));
    ASSERT_TRUE(client.established()) << server.program->output();
    converseEchoed(client);
}

TEST(ForeignServer, gnutlsRefusesAClientWithoutARequiredCertificate) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer("server-ecdsa", {"--require-client-cert"});
    Peer client = connectPeer(server.port, Settings::encrypted());
    const bool heardNothing =
        !client.established() || !client.sendAll("x\n") || client.receive(10).value_or("").empty();
    EXPECT_TRUE(heardNothing);
}

TEST(ForeignServer, gnutlsServerThatRequestsNoCertificateIsAccepted) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer("server-rsa", {"--disable-client-cert"});
    Peer client = connectPeer(server.port, Settings::clientSending(pki::client));
    ASSERT_TRUE(client.established()) << server.program->output();
    converseEchoed(client);
}

// --- Messages in several records.

TEST(ForeignServer, handshakeMessagesInSeveralRecordsAreAccepted) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server =
        openSslServer("with-intermediate", {"-max_send_frag", "512", "-rev"});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    converseReversed(client);
}

// --- Renegotiation and closure.

TEST(ForeignServer, requestToRenegotiateIsTheEndOfTheStream) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("server-rsa");
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    ASSERT_TRUE(client.sendAll("hello\n"));
    ASSERT_TRUE(server.program->shows("hello"));
    ASSERT_TRUE(server.program->sendAll("r\n"));
    EXPECT_EQ(client.receive(100), "");
    EXPECT_THAT(client.log->linesFrom(Severity::Info),
                Contains(info(L"Renegotiate request received")));
}

// The server sends a TLS closure after its answer and keeps the socket open. A receive that reads
// the closure returns 0, and the next one returns the data before it.
TEST(ForeignServer, closureIsAnErrorLineAndLosesNoData) {
    VEXASSL_NEEDS("openssl");
    const ForeignServer server = openSslServer("server-rsa", {"-www"});
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    ASSERT_TRUE(client.sendAll("GET / HTTP/1.0\r\n\r\n"));
    std::string page;
    for (int ends = 0; ends == 0 || page.find("</HTML>") == std::string::npos;) {
        const auto heard = client.receive(100000);
        ASSERT_TRUE(heard.has_value());
        page += *heard;
        ends += heard->empty() ? 1 : 0;
    }
    EXPECT_THAT(page, HasSubstr("HTTP/1.0 200 ok"));
    EXPECT_THAT(page, HasSubstr("</HTML>"));
    EXPECT_THAT(client.log->linesFrom(Severity::Warning),
                ElementsAre(systemError(L"DecryptMessage", 0x00090317)));
}

// Returns a line of that many printable bytes with its end. The peer echoes line by line.
std::string lineOf(const Pattern& pattern, std::size_t position, std::size_t size) {
    std::string line(pattern.at(position, size));
    for (char& byte : line) {
        byte = static_cast<char>('a' + (static_cast<unsigned char>(byte) % 26));
    }
    line.back() = '\n';
    return line;
}

TEST(ForeignServer, quarterMebibyteThroughGnutlsIsEchoedUnchanged) {
    VEXASSL_NEEDS("gnutls-serv");
    const ForeignServer server = gnuTlsServer("server-rsa");
    Peer client = connectPeer(server.port, Settings::encrypted());
    ASSERT_TRUE(client.established()) << server.program->output();
    const Pattern pattern;
    for (std::size_t sent = 0; sent < 262144; sent += 8192) {
        const std::string line = lineOf(pattern, sent, 8192);
        ASSERT_TRUE(client.sendAll(line));
        ASSERT_EQ(client.receiveAll(line.size()), line) << "at " << sent;
    }
}

} // namespace
} // namespace VexaSsl::test
