// How a client validates a server's certificate and name.
#include "contract/support/ContractTest.h"
#include "contract/support/RawPeer.h"
#include "contract/support/TestCertificates.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class ServerTrust : public ContractTest {
protected:
    static SECURITY_STATUS validate(const std::string& certificate, const std::wstring& target) {
        Side client = Side::client(target);
        RawPeer server = RawPeer::server(certificate);
        runHandshake(client, server);
        return client.status();
    }

    const ScopedCertificates certificates;
};

TEST_F(ServerTrust, dnsNameIsAccepted) {
    EXPECT_EQ(validate("server-ecdsa", L"localhost"), SEC_E_OK);
}

TEST_F(ServerTrust, nameIgnoresCase) {
    EXPECT_EQ(validate("server-ecdsa", L"LocalHost"), SEC_E_OK);
}

TEST_F(ServerTrust, trailingDotIsIgnored) {
    EXPECT_EQ(validate("server-ecdsa", L"localhost."), SEC_E_OK);
}

TEST_F(ServerTrust, nameEndsAtItsFirstZeroUnit) {
    using namespace std::string_literals;
    EXPECT_EQ(validate("server-ecdsa", L"localhost\0\0\0"s), SEC_E_OK);
    EXPECT_EQ(validate("server-ecdsa", L"localhost\0.evil"s), SEC_E_OK);
}

TEST_F(ServerTrust, ipv4LiteralMatchesAddressName) {
    EXPECT_EQ(validate("server-ecdsa", L"127.0.0.1"), SEC_E_OK);
}

TEST_F(ServerTrust, ipv6LiteralMatchesAddressName) {
    EXPECT_EQ(validate("server-ecdsa", L"::1"), SEC_E_OK);
    EXPECT_EQ(validate("server-ecdsa", L"0:0:0:0:0:0:0:1"), SEC_E_OK);
}

TEST_F(ServerTrust, zoneOfIpv6LiteralIsIgnored) {
    EXPECT_EQ(validate("server-ecdsa", L"::1%lo"), SEC_E_OK);
}

TEST_F(ServerTrust, ipLiteralNeverMatchesDnsName) {
    EXPECT_EQ(validate("wrong-name", L"127.0.0.1"), SEC_E_WRONG_PRINCIPAL);
    EXPECT_EQ(validate("wildcard", L"127.0.0.1"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, otherAddressIsRefused) {
    EXPECT_EQ(validate("server-ecdsa", L"127.0.0.2"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, secondDnsNameMatches) {
    EXPECT_EQ(validate("two-names", L"two.test"), SEC_E_OK);
}

TEST_F(ServerTrust, wildcardMatchesOneLabel) {
    EXPECT_EQ(validate("wildcard", L"www.wild.test"), SEC_E_OK);
    EXPECT_EQ(validate("wildcard", L"a.www.wild.test"), SEC_E_WRONG_PRINCIPAL);
    EXPECT_EQ(validate("wildcard", L"wild.test"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, partialWildcardMatchesNothing) {
    EXPECT_EQ(validate("partial-wildcard", L"www.wild.test"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, commonNameMatchesWithoutAlternativeNames) {
    EXPECT_EQ(validate("common-name", L"common.test"), SEC_E_OK);
}

TEST_F(ServerTrust, certificateWithoutNamesMatchesNothing) {
    EXPECT_EQ(validate("no-names", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, certificateNameWithZeroMatchesNothing) {
    EXPECT_EQ(validate("zero-in-name", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, otherNameIsRefused) {
    EXPECT_EQ(validate("wrong-name", L"localhost"), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, nameLongerThanAnyDnsNameIsRefused) {
    EXPECT_EQ(validate("server-ecdsa", std::wstring(256, L'a')), SEC_E_WRONG_PRINCIPAL);
}

TEST_F(ServerTrust, nonAsciiNameIsNotConverted) {
    EXPECT_EQ(validate("server-ecdsa", L"b\u00FCcher.test"), SEC_E_WRONG_PRINCIPAL);
}

class InvalidTarget : public ServerTrust, public ::testing::WithParamInterface<std::wstring> {};

TEST_P(InvalidTarget, invalidTargetIsRefusedBeforeAnythingIsSent) {
    Side client = Side::client(GetParam());
    const Step step = client.step();
    EXPECT_EQ(step.status, SEC_E_WRONG_PRINCIPAL);
    EXPECT_FALSE(step.tokenAllocated);
    EXPECT_EQ(client.context()->dwLower, 0U);
}

INSTANTIATE_TEST_SUITE_P(Names, InvalidTarget,
                         ::testing::Values(L"", L".", L".wild.test", std::wstring(1, L'\0'),
                                           std::wstring(1, static_cast<wchar_t>(0xD800))));

TEST_F(ServerTrust, sentIntermediateCompletesTheChain) {
    EXPECT_EQ(validate("with-intermediate", L"localhost"), SEC_E_OK);
}

TEST_F(ServerTrust, missingIntermediateIsUntrusted) {
    EXPECT_EQ(validate("missing-intermediate", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, unknownAuthorityIsUntrusted) {
    EXPECT_EQ(validate("untrusted", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, selfSignedServerIsUntrusted) {
    EXPECT_EQ(validate("self-signed", L"localhost"), SEC_E_UNTRUSTED_ROOT);
}

TEST_F(ServerTrust, leafIsNotAcceptedAsIssuer) {
    EXPECT_EQ(validate("not-authority", L"localhost"), SEC_E_CERT_UNKNOWN);
}

TEST_F(ServerTrust, expiredServerIsRefused) {
    EXPECT_EQ(validate("expired", L"localhost"), SEC_E_CERT_EXPIRED);
}

TEST_F(ServerTrust, serverNotYetValidIsRefused) {
    EXPECT_EQ(validate("not-yet-valid", L"localhost"), SEC_E_CERT_EXPIRED);
}

TEST_F(ServerTrust, clientCertificateIsRefusedForServer) {
    EXPECT_EQ(validate("wrong-usage", L"localhost"), SEC_E_CERT_WRONG_USAGE);
}

TEST_F(ServerTrust, certificateWithoutUsagesIsAccepted) {
    EXPECT_EQ(validate("no-usage", L"localhost"), SEC_E_OK);
}

std::string nameSeenBy(const std::wstring& target) {
    RawPeer server = RawPeer::server();
    Side client = Side::client(target);
    server.step(client.step().token);
    return server.requestedName();
}

using ServerNameIndication = ServerTrust;

TEST_F(ServerNameIndication, dnsNameIsSent) {
    EXPECT_EQ(nameSeenBy(L"localhost"), "localhost");
    EXPECT_EQ(nameSeenBy(L"some.Where.test"), "some.Where.test");
}

TEST_F(ServerNameIndication, dnsNameIsSentWithoutTrailingDot) {
    EXPECT_EQ(nameSeenBy(L"localhost."), "localhost");
}

TEST_F(ServerNameIndication, nameTooLongForTheExtensionIsNotSent) {
    EXPECT_EQ(nameSeenBy(std::wstring(255, L'a')), std::string(255, 'a'));
    EXPECT_EQ(nameSeenBy(std::wstring(256, L'a')), "(none)");
}

TEST_F(ServerNameIndication, addressLiteralIsNotSent) {
    EXPECT_EQ(nameSeenBy(L"127.0.0.1"), "(none)");
    EXPECT_EQ(nameSeenBy(L"::1"), "(none)");
}

} // namespace
} // namespace VexaSsl::test
