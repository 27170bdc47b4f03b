// The protocol version and cipher suite that an established context reports.
#include "contract/support/ContractTest.h"
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

class CipherInfo : public ContractTest {
protected:
    static SECURITY_STATUS query(Side& side, SecPkgContext_CipherInfo& info) {
        info = {};
        info.dwVersion = SECPKGCONTEXT_CIPHERINFO_V1;
        return platform::QueryContextAttributesW(side.context(), SECPKG_ATTR_CIPHER_INFO, &info);
    }

    const ScopedCertificates certificates;
};

TEST_F(CipherInfo, bothSidesReportTheSameVersionAndCipherSuite) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    ASSERT_TRUE(client.established());
    ASSERT_TRUE(server.established());
    SecPkgContext_CipherInfo ours{};
    const SECURITY_STATUS status = query(client, ours);
    if (status == SEC_E_UNSUPPORTED_FUNCTION) {
        GTEST_SKIP() << "the security package doesn't support the query";
    }
    ASSERT_EQ(status, SEC_E_OK);
    SecPkgContext_CipherInfo theirs{};
    ASSERT_EQ(query(server, theirs), SEC_E_OK);
    EXPECT_EQ(ours.dwProtocol, 0x0303U);
    EXPECT_EQ(std::wstring(ours.szCipherSuite).rfind(L"TLS_ECDHE_", 0), 0U);
    EXPECT_NE(ours.dwCipherSuite, 0U);
    EXPECT_EQ(theirs.dwProtocol, ours.dwProtocol);
    EXPECT_EQ(theirs.dwCipherSuite, ours.dwCipherSuite);
    EXPECT_EQ(std::wstring(theirs.szCipherSuite), ours.szCipherSuite);
}

TEST_F(CipherInfo, cipherInfoNeedsEstablishedContext) {
    Side client = Side::client();
    client.step();
    SecPkgContext_CipherInfo info{};
    EXPECT_NE(query(client, info), SEC_E_OK);
}

} // namespace
} // namespace VexaSsl::test
