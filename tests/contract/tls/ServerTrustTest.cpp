// What a client makes of a server's certificate and name.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class ServerTrust : public ContractTest {
protected:
    static SECURITY_STATUS judge(const std::string& certificate, const std::wstring& target) {
        Side client = Side::client(target);
        RawPeer server = RawPeer::server(certificate);
        shakeHands(client, server);
        return client.status();
    }

    const CertificatesInForce certificates;
};

TEST_F(ServerTrust, aDnsNameIsAccepted) {
    EXPECT_EQ(judge("server-ecdsa", L"localhost"), SEC_E_OK);
}

TEST_F(ServerTrust, caseOfTheNameDoesNotMatter) {
    EXPECT_EQ(judge("server-ecdsa", L"LocalHost"), SEC_E_OK);
}

TEST_F(ServerTrust, aTrailingDotDoesNotMatter) {
    EXPECT_EQ(judge("server-ecdsa", L"localhost."), SEC_E_OK);
}

TEST_F(ServerTrust, theNameEndsAtItsFirstZeroUnit) {
    using namespace std::string_literals;
    EXPECT_EQ(judge("server-ecdsa", L"localhost\0\0\0"s), SEC_E_OK);
    EXPECT_EQ(judge("server-ecdsa", L"localhost\0.evil"s), SEC_E_OK);
}

TEST_F(ServerTrust, anIpv4LiteralMatchesAnAddressName) {
    EXPECT_EQ(judge("server-ecdsa", L"127.0.0.1"), SEC_E_OK);
}

TEST_F(ServerTrust, anIpv6LiteralMatchesAnAddressName) {
    EXPECT_EQ(judge("server-ecdsa", L"::1"), SEC_E_OK);
    EXPECT_EQ(judge("server-ecdsa", L"0:0:0:0:0:0:0:1"), SEC_E_OK);
}

TEST_F(ServerTrust, theZoneOfAnIpv6LiteralIsNoPartOfIt) {
    EXPECT_EQ(judge("server-ecdsa", L"::1%lo"), SEC_E_OK);
}

TEST_F(ServerTrust, anIpLiteralNeverMatchesADnsName) {
    EXPECT_EQ(judge("wrong-name", L"127.0.0.1"), SEC_E_WRONG_PRINCIPAL);
    EXPECT_EQ(judge("wildcard", L"127.0.0.1"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, anotherAddressIsRefused) {
    EXPECT_EQ(judge("server-ecdsa", L"127.0.0.2"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, theSecondDnsNameCountsToo) {
    EXPECT_EQ(judge("two-names", L"two.test"), SEC_E_OK);
}

TEST_F(ServerTrust, aWildcardStandsForOneLabel) {
    EXPECT_EQ(judge("wildcard", L"www.wild.test"), SEC_E_OK);
    EXPECT_EQ(judge("wildcard", L"a.www.wild.test"), SEC_E_WRONG_PRINCIPAL);
    EXPECT_EQ(judge("wildcard", L"wild.test"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, aPartialWildcardMatchesNothing) {
    EXPECT_EQ(judge("partial-wildcard", L"www.wild.test"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, theCommonNameCountsWithoutAlternativeNames) {
    EXPECT_EQ(judge("common-name", L"common.test"), SEC_E_OK);
}

TEST_F(ServerTrust, aCertificateWithoutNamesIsForNobody) {
    EXPECT_EQ(judge("no-names", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, aZeroInACertificatesNameMatchesNothing) {
    EXPECT_EQ(judge("zero-in-name", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, anotherNameIsRefused) {
    EXPECT_EQ(judge("wrong-name", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, aNameLongerThanAnyDnsNameIsRefusedLikeAnother) {
    EXPECT_EQ(judge("server-ecdsa", std::wstring(300, L'a')), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, aNameInAnotherScriptIsTakenAsItStands) {
    EXPECT_EQ(judge("server-ecdsa", L"b\u00FCcher.test"), SEC_E_WRONG_PRINCIPAL);
}

class NoName : public ServerTrust, public ::testing::WithParamInterface<std::wstring> {};

TEST_P(NoName, isRefusedBeforeAnythingIsSent) {
    Side client = Side::client(GetParam());
    const Step step = client.step();
    EXPECT_EQ(step.status, SEC_E_WRONG_PRINCIPAL);
    EXPECT_FALSE(step.tokenAllocated);
    EXPECT_EQ(client.context()->dwLower, 0U);
}

INSTANTIATE_TEST_SUITE_P(Names, NoName,
                         ::testing::Values(L"", L".", L".wild.test", std::wstring(1, L'\0'),
                                           std::wstring(1, static_cast<wchar_t>(0xD800))));

TEST_F(ServerTrust, anIntermediateThatIsSentCompletesTheChain) {
    EXPECT_EQ(judge("with-intermediate", L"localhost"), SEC_E_OK);
}

TEST_F(ServerTrust, aMissingIntermediateIsUntrusted) {
    EXPECT_EQ(judge("missing-intermediate", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, anUnknownAuthorityIsUntrusted) {
    EXPECT_EQ(judge("untrusted", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, aSelfSignedServerIsUntrusted) {
    EXPECT_EQ(judge("self-signed", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, aLeafThatSignsIsNoAuthority) {
    EXPECT_EQ(judge("not-authority", L"localhost"), SEC_E_CERT_UNKNOWN);
}

TEST_F(ServerTrust, anExpiredServerIsRefused) {
    EXPECT_EQ(judge("expired", L"localhost"), SEC_E_CERT_EXPIRED);
}

TEST_F(ServerTrust, aServerNotYetValidIsRefused) {
    EXPECT_EQ(judge("not-yet-valid", L"localhost"), SEC_E_CERT_EXPIRED);
}

TEST_F(ServerTrust, aClientsCertificateIsNoServers) {
    EXPECT_EQ(judge("wrong-usage", L"localhost"), SEC_E_CERT_WRONG_USAGE);
}

TEST_F(ServerTrust, aCertificateWithoutUsagesServes) {
    EXPECT_EQ(judge("no-usage", L"localhost"), SEC_E_OK);
}

std::string nameSeenBy(const std::wstring& target) {
    RawPeer server = RawPeer::server();
    Side client = Side::client(target);
    server.step(client.step().token);
    return server.requestedName();
}

using ServerNameIndication = ServerTrust;

TEST_F(ServerNameIndication, aDnsNameGoesOut) {
    EXPECT_EQ(nameSeenBy(L"localhost"), "localhost");
    EXPECT_EQ(nameSeenBy(L"some.Where.test"), "some.Where.test");
}

TEST_F(ServerNameIndication, goesOutWithoutATrailingDot) {
    EXPECT_EQ(nameSeenBy(L"localhost."), "localhost");
}

TEST_F(ServerNameIndication, anAddressLiteralDoesNotGoOut) {
    EXPECT_EQ(nameSeenBy(L"127.0.0.1"), "(none)");
    EXPECT_EQ(nameSeenBy(L"::1"), "(none)");
}

} // namespace
} // namespace VexaSsl::test
