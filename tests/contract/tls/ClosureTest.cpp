// The end of a connection and the wish for a new handshake, provoked by a raw peer.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class Closure : public ContractTest {
protected:
    const CertificatesInForce certificates;
};

TEST_F(Closure, expiresTheContextNowAndLater) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    const Bytes closure = client.shutDown();
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(bytesOf("anything")).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, comesBehindTheDataBeforeIt) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    const Bytes data = client.protect("last words");
    const Bytes closure = client.shutDown();
    const Opened opened = server.open(data + closure);
    EXPECT_EQ(textOf(opened.plaintext), "last words");
    EXPECT_EQ(opened.extra, closure.size());
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, stillLetsThisSideSend) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_EQ(server.open(client.shutDown()).status, SEC_I_CONTEXT_EXPIRED);
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
    EXPECT_FALSE(client.sawShutDown());
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

PeerSettings askingToRenegotiate() {
    PeerSettings settings;
    settings.renegotiates = true;
    return settings;
}

using Renegotiation = Closure;

TEST_F(Renegotiation, aHelloRequestIsToldAndAnsweredByNothing) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", askingToRenegotiate());
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    const Bytes request = server.renegotiate();
    ASSERT_FALSE(request.empty());
    EXPECT_EQ(client.open(request).status, SEC_I_RENEGOTIATE);
    // An alert sent in between would have put this record out of sequence.
    EXPECT_EQ(server.openOne(client.protect("not now")), "not now");
}

TEST_F(Renegotiation, aClientsHelloIsToldAndAnsweredByNothing) {
    RawPeer client = RawPeer::client(askingToRenegotiate());
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    const Bytes hello = client.renegotiate();
    ASSERT_EQ(hello.at(0), 22);
    EXPECT_EQ(server.open(hello).status, SEC_I_RENEGOTIATE);
    EXPECT_EQ(client.openOne(server.protect("not now")), "not now");
}

TEST_F(Renegotiation, askingAgainGivesTheSameAnswer) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", askingToRenegotiate());
    shakeHands(client, server);
    for (int i = 0; i < 3; ++i) {
        const Bytes request = server.renegotiate();
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
    Bytes request = server.renegotiate();
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
