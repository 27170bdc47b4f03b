// Protocol versions, cipher suites and what they make of the stream sizes.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace VexaSsl::test {
namespace {

class Suites : public ContractTest {
protected:
    const CertificatesInForce certificates;
};

PeerSettings only(Protocol protocol) {
    PeerSettings settings;
    settings.only = protocol;
    return settings;
}

PeerSettings onlySuite(const char* suite) {
    PeerSettings settings;
    settings.suites = suite;
    return settings;
}

TEST_F(Suites, aClientThatOffersTls13TooGetsTls12) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_TRUE(client.speaksTls12());
}

TEST_F(Suites, aServerThatKnowsTls13GetsTls12) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_TRUE(server.speaksTls12());
}

TEST_F(Suites, aTls13OnlyClientIsRefused) {
    RawPeer client = RawPeer::client(only(Protocol::tls13));
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls11ClientIsRefused) {
    RawPeer client = RawPeer::client(only(Protocol::tls11));
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls13OnlyServerRefusesAndTheAlertTellsWhy) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", only(Protocol::tls13));
    shakeHands(client, server);
    EXPECT_EQ(client.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls11ServerFindsNothingToAgreeOn) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", only(Protocol::tls11));
    shakeHands(client, server);
    EXPECT_EQ(client.status(), SEC_E_ILLEGAL_MESSAGE); // the peer's handshake_failure alert
    EXPECT_FALSE(server.established());
}

TEST_F(Suites, aServersHelloOfTls11IsRefused) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    Bytes flight = server.step(client.step().token);
    constexpr std::size_t minorVersionOfHello = 10; // behind two headers and the major version
    ASSERT_EQ(flight.at(minorVersionOfHello), 3);
    flight[minorVersionOfHello] = 2;
    EXPECT_EQ(client.receive(flight).status, SEC_E_ALGORITHM_MISMATCH);
}

struct Suite {
    const char* name;
    const char* certificate;
    ULONG header;
};

std::string printed(const ::testing::TestParamInfo<Suite>& suite) {
    std::string name = suite.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class GoodSuite : public Suites, public ::testing::WithParamInterface<Suite> {};

TEST_P(GoodSuite, givesItsOwnStreamSizes) {
    RawPeer client = RawPeer::client(onlySuite(GetParam().name));
    Side server = Side::server(GetParam().certificate);
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    const SecPkgContext_StreamSizes sizes = server.sizes();
    EXPECT_EQ(sizes.cbHeader, GetParam().header);
    EXPECT_EQ(sizes.cbTrailer, 16U);
    EXPECT_EQ(sizes.cbMaximumMessage, 16384U);
    EXPECT_EQ(sizes.cBuffers, 4U);
    const Bytes record = server.protect("sixteen bytes...");
    EXPECT_EQ(record.size(), sizes.cbHeader + 16U + sizes.cbTrailer);
    EXPECT_EQ(client.open(record), "sixteen bytes...");
    EXPECT_EQ(server.openAll(client.protect("back")), "back");
}

INSTANTIATE_TEST_SUITE_P(
    All, GoodSuite,
    ::testing::Values(Suite{"ECDHE-ECDSA-AES128-GCM-SHA256", "server-ecdsa", 13},
                      Suite{"ECDHE-ECDSA-AES256-GCM-SHA384", "server-ecdsa", 13},
                      Suite{"ECDHE-ECDSA-CHACHA20-POLY1305", "server-ecdsa", 5},
                      Suite{"ECDHE-RSA-AES128-GCM-SHA256", "server-rsa", 13},
                      Suite{"ECDHE-RSA-AES256-GCM-SHA384", "server-rsa", 13},
                      Suite{"ECDHE-RSA-CHACHA20-POLY1305", "server-rsa", 5}),
    printed);

class BadSuite : public Suites, public ::testing::WithParamInterface<Suite> {};

TEST_P(BadSuite, isRefusedFromAClient) {
    RawPeer client = RawPeer::client(onlySuite(GetParam().name));
    Side server = Side::server(GetParam().certificate);
    shakeHands(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_P(BadSuite, isNotOfferedToAServer) {
    Side client = Side::client();
    RawPeer server = RawPeer::server(GetParam().certificate, onlySuite(GetParam().name));
    shakeHands(client, server);
    EXPECT_EQ(client.status(), SEC_E_ILLEGAL_MESSAGE); // the peer's handshake_failure alert
    EXPECT_FALSE(server.established());
}

INSTANTIATE_TEST_SUITE_P(All, BadSuite,
                         ::testing::Values(Suite{"ECDHE-ECDSA-AES128-SHA256", "server-ecdsa", 0},
                                           Suite{"ECDHE-RSA-AES256-SHA", "server-rsa", 0},
                                           Suite{"AES128-GCM-SHA256", "server-rsa", 0},
                                           Suite{"DHE-RSA-AES128-GCM-SHA256", "server-rsa", 0}),
                         printed);

TEST_F(Suites, aPeerThatAsksForSmallRecordsGetsThem) {
    PeerSettings settings;
    settings.smallRecords = true;
    RawPeer client = RawPeer::client(settings);
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(server.sizes().cbMaximumMessage, 1024U);
    EXPECT_EQ(client.open(server.protect(std::string(1024, 'x'))), std::string(1024, 'x'));
}

TEST_F(Suites, noSessionIsTakenUpAgain) {
    RawPeer before = RawPeer::client();
    {
        Side server = Side::server();
        shakeHands(before, server);
        ASSERT_TRUE(before.established());
        EXPECT_FALSE(before.hasTicket());
    }
    RawPeer client = RawPeer::client();
    client.takeUp(before);
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_FALSE(client.tookUp());
}

} // namespace
} // namespace VexaSsl::test
