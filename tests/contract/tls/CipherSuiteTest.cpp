// Protocol versions, cipher suites and the stream sizes that follow from them.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace VexaSsl::test {
namespace {

class CipherSuites : public ContractTest {
protected:
    const ScopedCertificates certificates;
};

PeerSettings only(Protocol protocol) {
    PeerSettings settings;
    settings.only = protocol;
    return settings;
}

PeerSettings onlyCipherSuite(const char* suite) {
    PeerSettings settings;
    settings.suites = suite;
    return settings;
}

TEST_F(CipherSuites, clientOfferingTls13GetsTls12) {
    RawPeer client = RawPeer::client();
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_TRUE(client.speaksTls12());
}

TEST_F(CipherSuites, serverSupportingTls13GetsTls12) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_TRUE(server.speaksTls12());
}

TEST_F(CipherSuites, tls13OnlyClientIsRefused) {
    RawPeer client = RawPeer::client(only(Protocol::tls13));
    Side server = Side::server();
    runHandshake(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(CipherSuites, tls11ClientIsRefused) {
    RawPeer client = RawPeer::client(only(Protocol::tls11));
    Side server = Side::server();
    runHandshake(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(CipherSuites, alertOfTls13OnlyServerGivesItsStatus) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", only(Protocol::tls13));
    runHandshake(client, server);
    EXPECT_EQ(client.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_F(CipherSuites, tls11ServerRefusesTheHello) {
    Side client = Side::client();
    RawPeer server = RawPeer::server("server-ecdsa", only(Protocol::tls11));
    runHandshake(client, server);
    EXPECT_EQ(client.status(), SEC_E_ILLEGAL_MESSAGE); // the peer's handshake_failure alert
    EXPECT_FALSE(server.established());
}

TEST_F(CipherSuites, tls11ServerHelloIsRefused) {
    Side client = Side::client();
    RawPeer server = RawPeer::server();
    Bytes flight = server.step(client.step().token);
    constexpr std::size_t minorVersionOfHello = 10; // after two headers and the major version
    ASSERT_EQ(flight.at(minorVersionOfHello), 3);
    flight[minorVersionOfHello] = 2;
    EXPECT_EQ(client.receive(flight).status, SEC_E_ALGORITHM_MISMATCH);
}

struct CipherSuite {
    const char* name;
    const char* certificate;
    ULONG header;
};

std::string caseName(const ::testing::TestParamInfo<CipherSuite>& suite) {
    std::string name = suite.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class SupportedCipherSuite : public CipherSuites,
                             public ::testing::WithParamInterface<CipherSuite> {};

TEST_P(SupportedCipherSuite, cipherSuiteDeterminesTheStreamSizes) {
    RawPeer client = RawPeer::client(onlyCipherSuite(GetParam().name));
    Side server = Side::server(GetParam().certificate);
    runHandshake(client, server);
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
    All, SupportedCipherSuite,
    ::testing::Values(CipherSuite{"ECDHE-ECDSA-AES128-GCM-SHA256", "server-ecdsa", 13},
                      CipherSuite{"ECDHE-ECDSA-AES256-GCM-SHA384", "server-ecdsa", 13},
                      CipherSuite{"ECDHE-ECDSA-CHACHA20-POLY1305", "server-ecdsa", 5},
                      CipherSuite{"ECDHE-RSA-AES128-GCM-SHA256", "server-rsa", 13},
                      CipherSuite{"ECDHE-RSA-AES256-GCM-SHA384", "server-rsa", 13},
                      CipherSuite{"ECDHE-RSA-CHACHA20-POLY1305", "server-rsa", 5}),
    caseName);

class UnsupportedCipherSuite : public CipherSuites,
                               public ::testing::WithParamInterface<CipherSuite> {};

TEST_P(UnsupportedCipherSuite, cipherSuiteIsRefusedFromClient) {
    RawPeer client = RawPeer::client(onlyCipherSuite(GetParam().name));
    Side server = Side::server(GetParam().certificate);
    runHandshake(client, server);
    EXPECT_EQ(server.status(), SEC_E_ALGORITHM_MISMATCH);
}

TEST_P(UnsupportedCipherSuite, cipherSuiteIsNotOfferedToServer) {
    Side client = Side::client();
    RawPeer server = RawPeer::server(GetParam().certificate, onlyCipherSuite(GetParam().name));
    runHandshake(client, server);
    EXPECT_EQ(client.status(), SEC_E_ILLEGAL_MESSAGE); // the peer's handshake_failure alert
    EXPECT_FALSE(server.established());
}

INSTANTIATE_TEST_SUITE_P(
    All, UnsupportedCipherSuite,
    ::testing::Values(CipherSuite{"ECDHE-ECDSA-AES128-SHA256", "server-ecdsa", 0},
                      CipherSuite{"ECDHE-RSA-AES256-SHA", "server-rsa", 0},
                      CipherSuite{"AES128-GCM-SHA256", "server-rsa", 0},
                      CipherSuite{"DHE-RSA-AES128-GCM-SHA256", "server-rsa", 0}),
    caseName);

TEST_F(CipherSuites, requestedFragmentLengthIsKept) {
    PeerSettings settings;
    settings.smallRecords = true;
    RawPeer client = RawPeer::client(settings);
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(server.sizes().cbMaximumMessage, 1024U);
    EXPECT_EQ(client.open(server.protect(std::string(1024, 'x'))), std::string(1024, 'x'));
}

TEST_F(CipherSuites, sessionsAreNotResumed) {
    RawPeer before = RawPeer::client();
    {
        Side server = Side::server();
        runHandshake(before, server);
        ASSERT_TRUE(before.established());
        EXPECT_FALSE(before.hasTicket());
    }
    RawPeer client = RawPeer::client();
    client.offerSessionOf(before);
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    EXPECT_FALSE(client.resumedSession());
}

} // namespace
} // namespace VexaSsl::test
