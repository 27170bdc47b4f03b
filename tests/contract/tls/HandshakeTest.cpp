// Handshakes of both roles in memory: cut anywhere, refused when they are no TLS, and never a byte
// too many consumed.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class HandshakeTest : public ContractTest {
protected:
    // The client's hello, the server's answer to it and so on, as far as a test needs them.
    Bytes helloOf(Side& side) { return side.step().token; }

    static void expectConversation(Side& client, Side& server) {
        EXPECT_EQ(server.openAll(client.protect("ping")), "ping");
        EXPECT_EQ(client.openAll(server.protect("pong")), "pong");
    }

    const CertificatesInForce certificates;
};

using PackageHandshake = HandshakeTest;

TEST_F(PackageHandshake, bothRolesEstablishAConversation) {
    Side client = Side::client();
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    ASSERT_TRUE(server.established());
    expectConversation(client, server);
}

TEST_F(PackageHandshake, aServerWithAnRsaCertificateServesToo) {
    Side client = Side::client();
    Side server = Side::server("server-rsa");
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    expectConversation(client, server);
}

class ChunkedHandshake : public HandshakeTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(ChunkedHandshake, anyPieceSizeEstablishes) {
    Side client = Side::client();
    Side server = Side::server("with-intermediate");
    shakeHands(client, server, GetParam());
    ASSERT_TRUE(client.established());
    ASSERT_TRUE(server.established());
    expectConversation(client, server);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ChunkedHandshake,
                         ::testing::Values(1, 2, 3, 4, 5, 6, 7, 16, 63, 100, 511, 4096),
                         ::testing::PrintToStringParamName());

TEST_F(PackageHandshake, aFlightCutAnywhereIsReadInFull) {
    const Credential credential = Credential::inbound();
    const std::size_t whole = [] {
        Side client = Side::client();
        Side server = Side::server();
        return server.receive(client.step().token).token.size();
    }();
    // Signatures differ by a byte or two in length between runs.
    for (std::size_t cut = 1; cut + 4 < whole; ++cut) {
        Side client = Side::client();
        Side server = Side::server();
        const Bytes flight = server.receive(client.step().token).token;
        Bytes answer = client.receive(part(flight, 0, cut)).token;
        answer = answer + client.receive(part(flight, cut)).token;
        const Bytes last = server.receive(answer).token;
        client.receive(last);
        ASSERT_TRUE(client.established()) << "cut at " << cut;
        ASSERT_TRUE(server.established()) << "cut at " << cut;
    }
}

TEST_F(PackageHandshake, theMissingCountIsExactAtEveryByteOfTheHello) {
    Side client = Side::client();
    const Bytes hello = helloOf(client);
    ASSERT_EQ(recordSizes(hello).size(), 1U);
    for (std::size_t have = 1; have < hello.size(); ++have) {
        Side server = Side::server();
        const Step step = server.step(part(hello, 0, have));
        const std::size_t missing = have < 5 ? 5 - have : hello.size() - have;
        ASSERT_TRUE(step.asksFor(missing)) << "with " << have << " bytes";
    }
}

TEST_F(PackageHandshake, theMissingCountIsThatOfTheLastRecordInHand) {
    Side client = Side::client();
    Side server = Side::server();
    const Bytes flight = server.receive(helloOf(client)).token;
    const std::vector<std::size_t> records = recordSizes(flight);
    ASSERT_GE(records.size(), 2U);
    const Step step = client.step(part(flight, 0, records[0] + records[1] - 3));
    EXPECT_TRUE(step.asksFor(3));
}

TEST_F(PackageHandshake, anIncompleteRecordConsumesAndCreatesNothing) {
    Side client = Side::client();
    const Bytes hello = helloOf(client);
    Side server = Side::server();
    const Step partial = server.step(part(hello, 0, 50));
    EXPECT_EQ(partial.status, SEC_E_INCOMPLETE_MESSAGE);
    EXPECT_FALSE(partial.tokenAllocated);
    EXPECT_EQ(server.context()->dwLower, 0U);
    EXPECT_EQ(server.context()->dwUpper, 0U);
    EXPECT_EQ(server.step(hello).status, SEC_I_CONTINUE_NEEDED);
}

TEST_F(PackageHandshake, nothingReceivedMissesAWholeHeader) {
    Side server = Side::server();
    EXPECT_TRUE(server.step().asksFor(5));
}

TEST_F(PackageHandshake, anUnfinishedFlightOfWholeRecordsGivesAnEmptyToken) {
    Side client = Side::client();
    Side server = Side::server();
    const Bytes flight = server.receive(helloOf(client)).token;
    const Step step = client.step(part(flight, 0, recordSizes(flight)[0]));
    EXPECT_EQ(step.status, SEC_I_CONTINUE_NEEDED);
    EXPECT_TRUE(step.token.empty());
    EXPECT_FALSE(step.tokenAllocated);
    EXPECT_EQ(step.inputType, SECBUFFER_EMPTY);
}

TEST_F(PackageHandshake, severalRecordsInOneCallAreAllConsumed) {
    Side client = Side::client();
    Side server = Side::server();
    const Bytes flight = server.receive(helloOf(client)).token;
    ASSERT_GE(recordSizes(flight).size(), 4U);
    const Step step = client.step(flight);
    EXPECT_EQ(step.status, SEC_I_CONTINUE_NEEDED);
    EXPECT_FALSE(step.token.empty());
}

TEST_F(PackageHandshake, bytesBehindTheLastRecordAreReportedAsExtra) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    const Bytes flight = server.step(client.step().token);
    const Bytes last = server.step(client.receive(flight).token);
    ASSERT_TRUE(server.established());
    const Bytes early = server.protect("spoke first");
    const Step step = client.step(last + early);
    EXPECT_EQ(step.status, SEC_E_OK);
    EXPECT_EQ(step.inputType, SECBUFFER_EXTRA);
    ASSERT_EQ(step.inputSize, early.size());
    EXPECT_EQ(client.openAll(early), "spoke first");
}

TEST_F(PackageHandshake, aFinishedServerReportsAClientsEarlyDataAsExtra) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    const Bytes flight = server.receive(client.step()).token;
    const Bytes answer = client.step(flight);
    // A client that doesn't wait for the server's last flight can't be OpenSSL: a record that it
    // would send is only pretended.
    const Bytes early = {23, 3, 3, 0, 2, 'x', 'y'};
    const Step step = server.step(answer + early);
    EXPECT_EQ(step.status, SEC_E_OK);
    EXPECT_FALSE(step.token.empty());
    EXPECT_EQ(step.inputType, SECBUFFER_EXTRA);
    EXPECT_EQ(step.inputSize, early.size());
}

TEST_F(PackageHandshake, theServersLastFlightComesWithSuccess) {
    Side client = Side::client();
    Side server = Side::server();
    const Bytes answer = client.receive(server.receive(helloOf(client)).token).token;
    const Step last = server.receive(answer);
    EXPECT_EQ(last.status, SEC_E_OK);
    EXPECT_FALSE(last.token.empty());
    const Step end = client.receive(last.token);
    EXPECT_EQ(end.status, SEC_E_OK);
    EXPECT_TRUE(end.token.empty());
    EXPECT_FALSE(end.tokenAllocated);
}

TEST_F(PackageHandshake, theAlertEntryIsNeverTouched) {
    Side client = Side::client();
    Side server = Side::server("wrong-name");
    const Step hello = client.step();
    const Step flight = server.receive(hello.token);
    const Step refusal = client.receive(flight.token);
    EXPECT_EQ(refusal.status, SEC_E_WRONG_PRINCIPAL);
    EXPECT_FALSE(hello.alertTouched || flight.alertTouched || refusal.alertTouched);
}

TEST_F(PackageHandshake, aRefusalBringsNoToken) {
    Side client = Side::client();
    Side server = Side::server("untrusted");
    const Step refusal = client.receive(server.receive(helloOf(client)).token);
    EXPECT_LT(refusal.status, 0);
    EXPECT_FALSE(refusal.tokenAllocated);
}

TEST_F(PackageHandshake, aFailedContextGivesTheSameStatusAgain) {
    Side client = Side::client();
    Side server = Side::server("untrusted");
    const Bytes flight = server.receive(helloOf(client)).token;
    const SECURITY_STATUS refusal = client.receive(flight).status;
    EXPECT_EQ(client.receive(flight).status, refusal);
}

TEST_F(PackageHandshake, anEstablishedContextNegotiatesNoMore) {
    Side client = Side::client();
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_EQ(client.step(Bytes{22, 3, 3, 0, 4, 0, 0, 0, 0}).status, SEC_E_UNSUPPORTED_FUNCTION);
}

class NoTls : public HandshakeTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(NoTls, isRefusedAtOnceAndNotWaitedFor) {
    Side server = Side::server();
    const Step refused = server.step(bytesOf(GetParam()));
    EXPECT_EQ(refused.status, SEC_E_INVALID_TOKEN);
    EXPECT_EQ(server.context()->dwLower, 0U);
    Side client = Side::client();
    client.step();
    EXPECT_EQ(client.step(bytesOf(GetParam())).status, SEC_E_INVALID_TOKEN);
}

INSTANTIATE_TEST_SUITE_P(Starts, NoTls,
                         ::testing::Values("G", "GET / HTTP/1.0\r\n\r\n", "\x80\x2e\x01\x03\x01",
                                           "\x16\x02", "\x13\x03", "\x18\x03",
                                           std::string("\x16\x03\x03\x48\x01", 5),
                                           "\x16\x03\x03\xff\xff"));

TEST_F(PackageHandshake, theLongestRecordIsWaitedFor) {
    Side server = Side::server();
    EXPECT_TRUE(server.step(Bytes{22, 3, 1, 0x48, 0}).asksFor(16384 + 2048));
}

TEST_F(PackageHandshake, aTlsRecordThatHoldsNonsenseIsIllegal) {
    Side server = Side::server();
    EXPECT_EQ(server.step(Bytes{22, 3, 1, 0, 4, 99, 0, 0, 0}).status, SEC_E_ILLEGAL_MESSAGE);
    EXPECT_EQ(server.context()->dwLower, 0U);
}

TEST_F(PackageHandshake, applicationDataBeforeAHelloIsRefused) {
    Side server = Side::server();
    EXPECT_LT(server.step(Bytes{23, 3, 3, 0, 2, 'h', 'i'}).status, 0);
}

TEST_F(PackageHandshake, everyChangedByteOfAFlightIsNoticed) {
    std::size_t size = 1;
    for (std::size_t at = 0; at < size; ++at) {
        // Nothing vouches for the minor version in the header of a record before the agreement.
        constexpr std::size_t minorVersion = 2;
        if (at == minorVersion) {
            continue;
        }
        Side client = Side::client();
        Side server = Side::server();
        Bytes flight = server.receive(helloOf(client)).token;
        size = flight.size() - 4;
        flight[at] ^= 0x01;
        const Bytes answer = client.receive(flight).token;
        const Bytes last = server.receive(answer).token;
        client.receive(last);
        ASSERT_FALSE(client.established()) << "byte " << at;
    }
}

TEST_F(PackageHandshake, theAttributesHoldWhatWasAskedFor) {
    Side client = Side::client();
    Side server = Side::server();
    const Bytes answer = client.receive(server.receive(helloOf(client)).token).token;
    const Step last = server.receive(answer);
    EXPECT_EQ(last.attributes & serverRequirements, serverRequirements);
    EXPECT_EQ(client.receive(last.token).attributes & clientRequirements, clientRequirements);
}

TEST_F(PackageHandshake, confidentialityThatWasNotAskedForIsNotClaimed) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_CONFIDENTIALITY);
    Side server = Side::server();
    const Bytes answer = client.receive(server.receive(helloOf(client)).token).token;
    const Step end = client.receive(server.receive(answer).token);
    ASSERT_EQ(end.status, SEC_E_OK);
    EXPECT_EQ(end.attributes & ISC_RET_CONFIDENTIALITY, 0U);
}

TEST_F(PackageHandshake, aHandshakeThatIsDroppedInTheMiddleLeavesNothing) {
    Side client = Side::client();
    Side server = Side::server();
    server.receive(helloOf(client));
    EXPECT_EQ(platform::DeleteSecurityContext(server.context()), SEC_E_OK);
    EXPECT_EQ(platform::DeleteSecurityContext(server.context()), SEC_E_INVALID_HANDLE);
    *server.context() = {};
}

} // namespace
} // namespace VexaSsl::test
