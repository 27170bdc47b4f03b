// The DNS names and the display name of a certificate.
#include "contract/stores/NameFixture.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;
using DnsNames = ContractTest;
using DisplayName = ContractTest;
using CertGetNameStringW = ContractTest;

TEST_F(DnsNames, alternativeNamesKeepTheirOrder) {
    EXPECT_EQ(dnsNames(withDnsNames({"two.test", "one.test"})), (Names{L"two.test", L"one.test"}));
}

TEST_F(DnsNames, commonNameAloneIsDnsName) {
    EXPECT_EQ(dnsNames(named("common.test")), Names{L"common.test"});
    EXPECT_EQ(dnsNames(named("localhost")), Names{L"localhost"});
    EXPECT_EQ(dnsNames(named("*.wild.test")), Names{L"*.wild.test"});
}

TEST_F(DnsNames, missingNameNeedsOneUnit) {
    Recipe recipe;
    recipe.subject = {{"O", "No Name"}};
    const HeldContext certificate = contextOf(recipe);
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, nullptr, 0), 1U);
    wchar_t buffer[] = L"x";
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, buffer, 1), 1U);
    EXPECT_EQ(buffer[0], L'\0');
}

TEST_F(DnsNames, firstNameIsGivenWithoutTheFlagForAll) {
    const HeldContext certificate = contextOf(withDnsNames({"one.test", "two.test"}));
    wchar_t buffer[32];
    EXPECT_EQ(
        platform::CertGetNameStringW(certificate.get(), CERT_NAME_DNS_TYPE, 0, nullptr, buffer, 32),
        9U);
    EXPECT_EQ(std::wstring(buffer), L"one.test");
}

TEST_F(DisplayName, displayNameIsTheCommonName) {
    Recipe recipe = withDnsNames({"dns.test"});
    recipe.subject = {{"O", "the organisation"}, {"CN", "the common name"}};
    EXPECT_EQ(display(recipe), L"the common name");
}

TEST_F(DisplayName, organisationReplacesMissingCommonName) {
    Recipe recipe = withDnsNames({"dns.test"});
    recipe.subject = {{"emailAddress", "mail@test"}, {"O", "the organisation"}};
    EXPECT_EQ(display(recipe), L"the organisation");
}

TEST_F(DisplayName, mailAddressReplacesMissingOrganisation) {
    Recipe recipe;
    recipe.subject = {{"emailAddress", "mail@test"}};
    EXPECT_EQ(display(recipe), L"mail@test");
    Recipe alternative;
    alternative.emailNames = {"other@test"};
    EXPECT_EQ(display(alternative), L"other@test");
}

TEST_F(DisplayName, missingNameNeedsOneUnit) {
    const HeldContext certificate = contextOf(Recipe{});
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE, nullptr, 0), 1U);
}

TEST_F(DisplayName, displayNameIsDecodedFromUtf8) {
    EXPECT_EQ(display(named("B\xC3\xBC\x63her \xF0\x9F\x94\x92")), L"B\u00FCcher \U0001F512");
}

TEST_F(DisplayName, tooSmallBufferHoldsTheBeginning) {
    const HeldContext certificate = contextOf(named("common"));
    wchar_t buffer[] = L"xxxxxxxx";
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE, buffer, 4), 4U);
    EXPECT_EQ(std::wstring(buffer), L"com");
    EXPECT_EQ(buffer[4], L'x');
}

TEST_F(CertGetNameStringW, nullCertificateHasNoName) {
    EXPECT_EQ(ask(nullptr, CERT_NAME_DNS_TYPE, nullptr, 0), 1U);
}

TEST_F(CertGetNameStringW, unknownNameTypeGivesNoName) {
    const HeldContext certificate = contextOf(named("common"));
    constexpr DWORD mailType = 1;
    EXPECT_EQ(ask(certificate.get(), mailType, nullptr, 0), 1U);
}

} // namespace
} // namespace VexaSsl::test
