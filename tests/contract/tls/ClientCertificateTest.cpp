// Client authentication: the server requests a certificate, accepts any or none, and passes the
// peer's certificate with its chain to the library.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

constexpr ULONG requestingServer = serverRequirements | ASC_REQ_MUTUAL_AUTH;

class ClientCertificate : public ContractTest {
protected:
    struct Peer {
        SECURITY_STATUS status = SEC_E_OK;
        Bytes encoded = {};
        std::size_t inStore = 0;
    };

    // The attribute of the peer's certificate, and the number of certificates in its store.
    static Peer peerOf(Side& side) {
        Peer peer;
        PCCERT_CONTEXT certificate = nullptr;
        peer.status = platform::QueryContextAttributesW(
            side.context(), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate);
        if (!certificate) {
            return peer;
        }
        peer.encoded = {certificate->pbCertEncoded,
                        certificate->pbCertEncoded + certificate->cbCertEncoded};
        PCCERT_CONTEXT current = nullptr;
        while (
            (current = platform::CertEnumCertificatesInStore(certificate->hCertStore, current))) {
            ++peer.inStore;
        }
        platform::CertFreeCertificateContext(certificate);
        return peer;
    }

    static Bytes encodedCase(const std::string& name) {
        const StoreCertificate certificate(name);
        return {certificate.get()->pbCertEncoded,
                certificate.get()->pbCertEncoded + certificate.get()->cbCertEncoded};
    }

    const ScopedCertificates certificates;
};

class PresentedCertificate : public ClientCertificate,
                             public ::testing::WithParamInterface<std::string> {};

TEST_P(PresentedCertificate, clientCertificateIsNotJudgedInTheHandshake) {
    Side client = Side::client(L"localhost", GetParam());
    Side server = Side::server("server-ecdsa", requestingServer);
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    ASSERT_TRUE(server.established());
    const Peer peer = peerOf(server);
    EXPECT_EQ(peer.status, SEC_E_OK);
    EXPECT_EQ(peer.encoded, encodedCase(GetParam()));
    EXPECT_EQ(peer.inStore, 1U); // its issuer, though an anchor, isn't sent
}

INSTANTIATE_TEST_SUITE_P(Certificates, PresentedCertificate,
                         ::testing::Values("client", "client-rsa", "client-expired",
                                           "client-untrusted", "client-self-signed",
                                           "client-no-names", "server-ecdsa"));

TEST_F(ClientCertificate, storeHoldsTheChainAsSent) {
    Side client = Side::client(L"localhost", "client-with-intermediate");
    Side server = Side::server("server-ecdsa", requestingServer);
    runHandshake(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(peerOf(server).inStore, 2U);
}

TEST_F(ClientCertificate, clientSeesTheServersChain) {
    Side client = Side::client();
    Side server = Side::server("with-intermediate");
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    const Peer peer = peerOf(client);
    EXPECT_EQ(peer.encoded, encodedCase("with-intermediate"));
    EXPECT_EQ(peer.inStore, 2U);
    client.openAll(server.protect("data"));
    EXPECT_EQ(peerOf(client).inStore, 2U);
}

TEST_F(ClientCertificate, peerCertificateOutlivesTheContext) {
    PCCERT_CONTEXT certificate = nullptr;
    {
        Side client = Side::client(L"localhost", "client");
        Side server = Side::server("server-ecdsa", requestingServer);
        runHandshake(client, server);
        ASSERT_EQ(platform::QueryContextAttributesW(server.context(),
                                                    SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate),
                  SEC_E_OK);
    }
    const Bytes encoded(certificate->pbCertEncoded,
                        certificate->pbCertEncoded + certificate->cbCertEncoded);
    EXPECT_EQ(encoded, encodedCase("client"));
    platform::CertFreeCertificateContext(certificate);
}

TEST_F(ClientCertificate, clientWithoutCertificateIsAccepted) {
    Side client = Side::client();
    Side server = Side::server("server-ecdsa", requestingServer);
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    ASSERT_TRUE(server.established());
    EXPECT_EQ(peerOf(server).status, SEC_E_NO_CREDENTIALS);
}

TEST_F(ClientCertificate, certificateIsNotSentUnasked) {
    Side client = Side::client(L"localhost", "client");
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(server.established());
    EXPECT_EQ(peerOf(server).status, SEC_E_NO_CREDENTIALS);
}

TEST_F(ClientCertificate, mutualAuthenticationIsClaimedOnlyWithCertificate) {
    for (const std::string name : {"", "client"}) {
        Side client = Side::client(L"localhost", name);
        Side server = Side::server("server-ecdsa", requestingServer);
        const Bytes answer = client.receive(server.receive(client.step().token).token).token;
        const Step last = server.receive(answer);
        ASSERT_EQ(last.status, SEC_E_OK);
        EXPECT_EQ((last.attributes & ASC_RET_MUTUAL_AUTH) != 0, !name.empty());
    }
}

TEST_F(ClientCertificate, noListOfAuthoritiesIsSent) {
    RawPeer client = RawPeer::client();
    Side server = Side::server("server-ecdsa", requestingServer);
    runHandshake(client, server);
    EXPECT_EQ(client.namedAuthorities(), 0);
}

TEST_F(ClientCertificate, clientWithoutThePrivateKeyIsRefused) {
    // A changed signature stands for one made with another key.
    PeerSettings settings;
    settings.certificate = "client";
    RawPeer client = RawPeer::client(settings);
    Side server = Side::server("server-ecdsa", requestingServer);
    const Bytes flight = server.receive(client.step()).token;
    Bytes answer = client.step(flight);
    // Certificate, ClientKeyExchange and CertificateVerify each have a record.
    const std::vector<std::size_t> records = recordSizes(answer);
    ASSERT_GE(records.size(), 5U);
    answer[records[0] + records[1] + records[2] - 1] ^= 0x01;
    const Step refused = server.receive(answer);
    EXPECT_LT(refused.status, 0);
    EXPECT_FALSE(refused.tokenAllocated);
}

using SuppliedCredentials = ClientCertificate;

TEST_F(SuppliedCredentials, callerIsAskedWithoutTheFlag) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_USE_SUPPLIED_CREDS);
    Side server = Side::server("server-ecdsa", requestingServer);
    const Bytes flight = server.receive(client.step().token).token;
    const Step asked = client.step(flight);
    EXPECT_EQ(asked.status, SEC_I_INCOMPLETE_CREDENTIALS);
    EXPECT_EQ(asked.inputType, SECBUFFER_EMPTY);
    EXPECT_TRUE(asked.token.empty());
}

TEST_F(SuppliedCredentials, sameTokenWithTheFlagContinuesWithoutCertificate) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_USE_SUPPLIED_CREDS);
    Side server = Side::server("server-ecdsa", requestingServer);
    const Bytes flight = server.receive(client.step().token).token;
    ASSERT_EQ(client.step(flight).status, SEC_I_INCOMPLETE_CREDENTIALS);
    client.requirements = clientRequirements;
    const Step step = client.step(flight);
    ASSERT_EQ(step.status, SEC_I_CONTINUE_NEEDED);
    client.receive(server.receive(step.token).token);
    EXPECT_TRUE(client.established());
    EXPECT_TRUE(server.established());
}

TEST_F(SuppliedCredentials, sameTokenWithoutTheFlagIsAskedAgain) {
    Side client = Side::client(L"localhost", "", clientRequirements & ~ISC_REQ_USE_SUPPLIED_CREDS);
    Side server = Side::server("server-ecdsa", requestingServer);
    const Bytes flight = server.receive(client.step().token).token;
    ASSERT_EQ(client.step(flight).status, SEC_I_INCOMPLETE_CREDENTIALS);
    EXPECT_EQ(client.step(flight).status, SEC_I_INCOMPLETE_CREDENTIALS);
}

TEST_F(SuppliedCredentials, flagIsNotNeededWithCertificate) {
    Side client =
        Side::client(L"localhost", "client", clientRequirements & ~ISC_REQ_USE_SUPPLIED_CREDS);
    Side server = Side::server("server-ecdsa", requestingServer);
    runHandshake(client, server);
    EXPECT_TRUE(client.established());
    EXPECT_EQ(peerOf(server).status, SEC_E_OK);
}

} // namespace
} // namespace VexaSsl::test
