// The end of a connection and the wish for a new handshake, provoked by a raw peer.
#include "contract/security/RawPeer.h"
#include "contract/security/TestCertificates.h"
#include "platform/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class Closure : public ::testing::Test {
protected:
    const FolderInForce folder;
};

TEST_F(Closure, expiresTheContextNowAndLater) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    SSL_shutdown(client.connection());
    const Bytes closure = client.outgoing();
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(bytesOf("anything")).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, comesBehindTheDataBeforeIt) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    const Bytes data = client.protect("last words");
    SSL_shutdown(client.connection());
    const Bytes closure = client.outgoing();
    const Opened opened = server.open(data + closure);
    EXPECT_EQ(textOf(opened.plaintext), "last words");
    EXPECT_EQ(opened.extra, closure.size());
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, stillLetsThisSideSend) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    SSL_shutdown(client.connection());
    ASSERT_EQ(server.open(client.outgoing()).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.protectStatus(bytesOf("answer")), SEC_E_OK);
}

TEST_F(Closure, isNotSentWhenAContextIsDeleted) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    const Bytes last = server.protect("bye");
    EXPECT_EQ(platform::DeleteSecurityContext(server.context()), SEC_E_OK);
    *server.context() = {};
    EXPECT_EQ(client.open(last), "bye");
    EXPECT_EQ(SSL_get_shutdown(client.connection()) & SSL_RECEIVED_SHUTDOWN, 0);
}

TEST_F(Closure, insteadOfAHandshakeMessageIsAFailure) {
    Side client = Side::client();
    client.step();
    const Bytes closeNotify = {21, 3, 3, 0, 2, 1, 0};
    const Step step = client.step(closeNotify);
    EXPECT_EQ(step.status, SEC_E_CONTEXT_EXPIRED);
}

TEST_F(Closure, anAlertInsteadOfAFlightTellsItsCause) {
    Side client = Side::client();
    client.step();
    const Bytes unknownAuthority = {21, 3, 3, 0, 2, 2, 48};
    EXPECT_EQ(client.step(unknownAuthority).status, SEC_E_UNTRUSTED_ROOT);
}

RawPeer::Setting askingToRenegotiate() {
    return [](SSL_CTX* context) {
        SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
        SSL_CTX_set_options(context, SSL_OP_ALLOW_CLIENT_RENEGOTIATION);
    };
}

using Renegotiation = Closure;

TEST_F(Renegotiation, aHelloRequestIsToldAndAnsweredByNothing) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", askingToRenegotiate());
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    ASSERT_EQ(SSL_renegotiate(server.connection()), 1);
    const Bytes request = server.step();
    ASSERT_FALSE(request.empty());
    EXPECT_EQ(client.open(request).status, SEC_I_RENEGOTIATE);
    // An alert sent in between would have put this record out of sequence.
    server.incoming(client.protect("not now"));
    char text[16] = {};
    EXPECT_EQ(SSL_read(server.connection(), text, sizeof text), 7);
    EXPECT_STREQ(text, "not now");
}

TEST_F(Renegotiation, aClientsHelloIsToldAndAnsweredByNothing) {
    RawPeer client = RawPeer::client(askingToRenegotiate());
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    ASSERT_EQ(SSL_renegotiate(client.connection()), 1);
    const Bytes hello = client.step();
    ASSERT_EQ(hello.at(0), 22);
    EXPECT_EQ(server.open(hello).status, SEC_I_RENEGOTIATE);
    const Bytes record = server.protect("not now");
    client.incoming(record);
    char text[16] = {};
    EXPECT_EQ(SSL_read(client.connection(), text, sizeof text), 7);
    EXPECT_STREQ(text, "not now");
}

TEST_F(Renegotiation, askingAgainGivesTheSameAnswer) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", askingToRenegotiate());
    shakeHands(client, server);
    for (int i = 0; i < 3; ++i) {
        SSL_renegotiate(server.connection());
        const Bytes request = server.step();
        if (!request.empty()) {
            EXPECT_EQ(client.open(request).status, SEC_I_RENEGOTIATE);
        }
    }
    EXPECT_EQ(client.openAll(server.protect("data goes on")), "data goes on");
}

TEST_F(Renegotiation, aTamperedRequestIsNoRequest) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", askingToRenegotiate());
    shakeHands(client, server);
    SSL_renegotiate(server.connection());
    Bytes request = server.step();
    request.back() ^= 1;
    EXPECT_EQ(client.open(request).status, SEC_E_MESSAGE_ALTERED);
}

TEST_F(Renegotiation, dataThatPretendsToBeARequestIsNoRequest) {
    Side client = Side::client();
    Side server = Side::server();
    shakeHands(client, server);
    Bytes record = server.protect("data");
    record[0] = 22;
    EXPECT_EQ(client.open(record).status, SEC_E_MESSAGE_ALTERED);
}

} // namespace
} // namespace VexaSsl::test
