// Closures and renegotiation requests from a peer.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class Closure : public ContractTest {
protected:
    const ScopedCertificates certificates;
};

TEST_F(Closure, closureExpiresTheContextPermanently) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    runHandshake(client, server);
    const Bytes closure = client.sendClosure();
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.open(bytesOf("anything")).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, dataBeforeTheClosureIsDelivered) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    runHandshake(client, server);
    const Bytes data = client.protect("last words");
    const Bytes closure = client.sendClosure();
    const Opened opened = server.open(data + closure);
    EXPECT_EQ(textOf(opened.plaintext), "last words");
    EXPECT_EQ(opened.extra, closure.size());
    EXPECT_EQ(server.open(closure).status, SEC_I_CONTEXT_EXPIRED);
}

TEST_F(Closure, contextStillSendsAfterPeersClosure) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_EQ(server.open(client.sendClosure()).status, SEC_I_CONTEXT_EXPIRED);
    EXPECT_EQ(server.protectStatus(bytesOf("answer")), SEC_E_OK);
}

TEST_F(Closure, deletingTheContextSendsNoClosure) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    runHandshake(client, server);
    const Bytes last = server.protect("bye");
    EXPECT_EQ(platform::DeleteSecurityContext(server.context()), SEC_E_OK);
    *server.context() = {};
    EXPECT_EQ(client.open(last), "bye");
    EXPECT_FALSE(client.receivedClosure());
}

TEST_F(Closure, closureDuringTheHandshakeFails) {
    Side client = Side::client();
    client.step();
    const Bytes closeNotify = {21, 3, 3, 0, 2, 1, 0};
    const Step step = client.step(closeNotify);
    EXPECT_EQ(step.status, SEC_E_CONTEXT_EXPIRED);
}

TEST_F(Closure, alertDuringTheHandshakeGivesItsStatus) {
    Side client = Side::client();
    client.step();
    const Bytes unknownAuthority = {21, 3, 3, 0, 2, 2, 48};
    EXPECT_EQ(client.step(unknownAuthority).status, SEC_E_UNTRUSTED_ROOT);
}

PeerSettings allowingRenegotiation() {
    PeerSettings settings;
    settings.renegotiates = true;
    return settings;
}

using Renegotiation = Closure;

TEST_F(Renegotiation, helloRequestIsReportedAndNotAnswered) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", allowingRenegotiation());
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    const Bytes request = server.renegotiate();
    ASSERT_FALSE(request.empty());
    EXPECT_EQ(client.open(request).status, SEC_I_RENEGOTIATE);
    // A hidden alert would have taken this record's sequence number.
    EXPECT_EQ(server.openOne(client.protect("not now")), "not now");
}

TEST_F(Renegotiation, clientHelloIsReportedAndNotAnswered) {
    RawPeer client = RawPeer::client(allowingRenegotiation());
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(server.established());
    const Bytes hello = client.renegotiate();
    ASSERT_EQ(hello.at(0), 22);
    EXPECT_EQ(server.open(hello).status, SEC_I_RENEGOTIATE);
    EXPECT_EQ(client.openOne(server.protect("not now")), "not now");
}

TEST_F(Renegotiation, repeatedRequestIsReportedAgain) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", allowingRenegotiation());
    runHandshake(client, server);
    for (int i = 0; i < 3; ++i) {
        const Bytes request = server.renegotiate();
        if (!request.empty()) {
            EXPECT_EQ(client.open(request).status, SEC_I_RENEGOTIATE);
        }
    }
    EXPECT_EQ(client.openAll(server.protect("more data")), "more data");
}

TEST_F(Renegotiation, tamperedRequestIsAlteredMessage) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", allowingRenegotiation());
    runHandshake(client, server);
    Bytes request = server.renegotiate();
    request.back() ^= 1;
    EXPECT_EQ(client.open(request).status, SEC_E_MESSAGE_ALTERED);
}

TEST_F(Renegotiation, dataRelabelledAsHandshakeIsAlteredMessage) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    Bytes record = server.protect("data");
    record[0] = 22;
    EXPECT_EQ(client.open(record).status, SEC_E_MESSAGE_ALTERED);
}

} // namespace
} // namespace VexaSsl::test
