// Protocol versions, cipher suites and what they make of the stream sizes.
#include "contract/security/RawPeer.h"
#include "contract/security/TestCertificates.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace VexaSsl::test {
namespace {

class Suites : public ::testing::Test {
protected:
    const FolderInForce folder;
};

RawPeer::Setting onlyVersion(int version) {
    return [version](SSL_CTX* context) {
        SSL_CTX_set_security_level(context, 0); // TLS 1.1 is below the default one
        SSL_CTX_set_min_proto_version(context, version);
        SSL_CTX_set_max_proto_version(context, version);
    };
}

RawPeer::Setting onlySuite(const char* suite) {
    return [suite](SSL_CTX* context) {
        SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
        SSL_CTX_set_cipher_list(context, suite);
    };
}

TEST_F(Suites, aClientThatOffersTls13TooGetsTls12) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(SSL_version(client.connection()), TLS1_2_VERSION);
}

TEST_F(Suites, aServerThatKnowsTls13GetsTls12) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_EQ(SSL_version(server.connection()), TLS1_2_VERSION);
}

TEST_F(Suites, aTls13OnlyClientIsRefused) {
    RawPeer client = RawPeer::client(onlyVersion(TLS1_3_VERSION));
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls11ClientIsRefused) {
    RawPeer client = RawPeer::client(onlyVersion(TLS1_1_VERSION));
    Side server = Side::server();
    shakeHands(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls13OnlyServerRefusesAndTheAlertTellsWhy) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", onlyVersion(TLS1_3_VERSION));
    shakeHands(client, server);
    EXPECT_EQ(client.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(Suites, aTls11ServerFindsNothingToAgreeOn) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", onlyVersion(TLS1_1_VERSION));
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
    RawPeer client = RawPeer::client([](SSL_CTX* context) {
        SSL_CTX_set_tlsext_max_fragment_length(context, TLSEXT_max_fragment_length_1024);
    });
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(server.sizes().cbMaximumMessage, 1024U);
    EXPECT_EQ(client.open(server.protect(std::string(1024, 'x'))), std::string(1024, 'x'));
}

TEST_F(Suites, noSessionIsTakenUpAgain) {
    SSL_SESSION* session = nullptr;
    {
        RawPeer client = RawPeer::client();
        Side server = Side::server();
        shakeHands(client, server);
        ASSERT_TRUE(client.established());
        session = SSL_get1_session(client.connection());
        EXPECT_FALSE(SSL_SESSION_has_ticket(session));
    }
    RawPeer client = RawPeer::client();
    SSL_set_session(client.connection(), session);
    SSL_SESSION_free(session);
    Side server = Side::server();
    shakeHands(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_FALSE(SSL_session_reused(client.connection()));
}

} // namespace
} // namespace VexaSsl::test
