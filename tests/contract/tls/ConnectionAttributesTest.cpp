// The protocol version and this side's certificate, as an established context reports them.
#include "contract/support/ContractTest.h"
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

class ConnectionAttributes : public ContractTest {
protected:
    static SECURITY_STATUS query(Side& side, SecPkgContext_ConnectionInfo& info) {
        info = {};
        return platform::QueryContextAttributesW(side.context(), SECPKG_ATTR_CONNECTION_INFO,
                                                 &info);
    }

    // Returns the status; encoded is this side's certificate, empty without one.
    static SECURITY_STATUS queryOwn(Side& side, Bytes& encoded) {
        PCCERT_CONTEXT certificate = nullptr;
        const SECURITY_STATUS status = platform::QueryContextAttributesW(
            side.context(), SECPKG_ATTR_LOCAL_CERT_CONTEXT, &certificate);
        if (certificate) {
            encoded = {certificate->pbCertEncoded,
                       certificate->pbCertEncoded + certificate->cbCertEncoded};
            platform::CertFreeCertificateContext(certificate);
        }
        return status;
    }

    static Bytes encodedCase(const std::string& name) {
        const StoreCertificate certificate(name);
        return {certificate.get()->pbCertEncoded,
                certificate.get()->pbCertEncoded + certificate.get()->cbCertEncoded};
    }

    const ScopedCertificates certificates;
};

TEST_F(ConnectionAttributes, bothSidesReportTheProtocolVersion) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    for (Side* side : {&client, &server}) {
        SecPkgContext_ConnectionInfo info;
        ASSERT_EQ(query(*side, info), SEC_E_OK);
        EXPECT_NE(info.dwProtocol & (SP_PROT_TLS1_2_CLIENT | SP_PROT_TLS1_2_SERVER), 0U);
        EXPECT_EQ(info.dwProtocol & (SP_PROT_TLS1_1_CLIENT | SP_PROT_TLS1_1_SERVER |
                                     SP_PROT_TLS1_3_CLIENT | SP_PROT_TLS1_3_SERVER),
                  0U);
    }
}

TEST_F(ConnectionAttributes, protocolVersionIsStillKnownAfterData) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_EQ(server.openAll(client.protect("data")), "data");
    SecPkgContext_ConnectionInfo info;
    EXPECT_EQ(query(server, info), SEC_E_OK);
}

TEST_F(ConnectionAttributes, eachSideReportsItsOwnCertificate) {
    Side client = Side::client(L"localhost", "client");
    Side server = Side::server("server-ecdsa", serverRequirements | ASC_REQ_MUTUAL_AUTH);
    runHandshake(client, server);
    Bytes own;
    ASSERT_EQ(queryOwn(server, own), SEC_E_OK);
    EXPECT_EQ(own, encodedCase("server-ecdsa"));
    ASSERT_EQ(queryOwn(client, own), SEC_E_OK);
    EXPECT_EQ(own, encodedCase("client"));
}

TEST_F(ConnectionAttributes, clientWithoutACertificateHasNone) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    Bytes own;
    EXPECT_NE(queryOwn(client, own), SEC_E_OK);
    EXPECT_TRUE(own.empty());
}

TEST_F(ConnectionAttributes, needAnEstablishedContext) {
    Side client = Side::client(L"localhost", "client");
    client.step();
    SecPkgContext_ConnectionInfo info;
    EXPECT_NE(query(client, info), SEC_E_OK);
    Bytes own;
    EXPECT_NE(queryOwn(client, own), SEC_E_OK);
    EXPECT_TRUE(own.empty());
}

} // namespace
} // namespace VexaSsl::test
