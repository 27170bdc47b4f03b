// The names that a certificate is known by.
#include "contract/certificates/StoreFixture.h"

namespace VexaSsl::testing {
namespace {

using Names = std::vector<std::wstring>;

HeldContext contextOf(const Recipe& recipe) {
    return testing::contextOf(issue(recipe));
}

DWORD ask(PCCERT_CONTEXT certificate, DWORD type, wchar_t* buffer, DWORD size) {
    DWORD typeParameter = CERT_SIMPLE_NAME_STR | CERT_NAME_STR_NO_QUOTING_FLAG;
    const DWORD flags = type == CERT_NAME_DNS_TYPE ? CERT_NAME_SEARCH_ALL_NAMES_FLAG : 0;
    return platform::CertGetNameStringW(certificate, type, flags, buffer ? nullptr : &typeParameter,
                                        buffer, size);
}

// The names in a run of zero-terminated texts that an empty one ends.
Names split(const std::wstring& run) {
    Names names;
    for (const wchar_t* at = run.c_str(); *at != L'\0'; at += names.back().size() + 1)
        names.emplace_back(at);
    return names;
}

Names dnsNames(const Recipe& recipe) {
    const HeldContext certificate = contextOf(recipe);
    const DWORD needed = ask(certificate.get(), CERT_NAME_DNS_TYPE, nullptr, 0);
    std::wstring buffer(needed, L'x');
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, buffer.data(), needed), needed);
    EXPECT_EQ(buffer.back(), L'\0');
    const Names names = split(buffer);
    std::size_t size = 1;
    for (const std::wstring& name : names)
        size += name.size() + 1;
    EXPECT_EQ(needed, size);
    return names;
}

Recipe withDnsNames(std::vector<std::string> names) {
    Recipe recipe;
    recipe.dnsNames = std::move(names);
    return recipe;
}

TEST(DnsNames, alternativeNamesComeInTheirOrder) {
    EXPECT_EQ(dnsNames(withDnsNames({"two.test", "one.test"})), (Names{L"two.test", L"one.test"}));
}

TEST(DnsNames, commonNameFollowsTheAlternativeNames) {
    Recipe recipe = withDnsNames({"one.test"});
    recipe.subject = {{"CN", "common.test"}};
    EXPECT_EQ(dnsNames(recipe), (Names{L"one.test", L"common.test"}));
}

TEST(DnsNames, commonNameAlreadyThereInWhateverCaseIsLeftOut) {
    Recipe recipe = withDnsNames({"one.test"});
    recipe.subject = {{"CN", "ONE.Test"}};
    EXPECT_EQ(dnsNames(recipe), Names{L"one.test"});
}

TEST(DnsNames, commonNameAloneIsOne) {
    EXPECT_EQ(dnsNames(named("common.test")), Names{L"common.test"});
    EXPECT_EQ(dnsNames(named("localhost")), Names{L"localhost"});
    EXPECT_EQ(dnsNames(named("*.wild.test")), Names{L"*.wild.test"});
}

TEST(DnsNames, commonNameThatDoesNotLookLikeOneIsLeftOut) {
    for (const char* text : {"Test Server", "a..b", ".test", "test.", "-a.test", "a-.test",
                             "127.0.0.1", "user@mail.test", "a.*.test", "*", "näme.test"})
        EXPECT_EQ(dnsNames(named(text)), Names{}) << text;
}

TEST(DnsNames, noNameNeedsOneUnit) {
    const HeldContext certificate = contextOf(named("No Name"));
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, nullptr, 0), 1U);
    wchar_t buffer[] = L"x";
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, buffer, 1), 1U);
    EXPECT_EQ(buffer[0], L'\0');
}

TEST(DnsNames, nameWithAZeroInsideIsLeftOut) {
    const std::string zeroInside("good.test\0.evil.test", 20);
    EXPECT_EQ(dnsNames(withDnsNames({zeroInside, "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, nameWithAControlCharacterIsLeftOut) {
    EXPECT_EQ(dnsNames(withDnsNames({"a\n.test", "a\x1b[2J.test", "one.test"})),
              Names{L"one.test"});
}

TEST(DnsNames, emptyNameDoesNotEndTheList) {
    EXPECT_EQ(dnsNames(withDnsNames({"", "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, nameThatIsNoTextIsLeftOut) {
    EXPECT_EQ(dnsNames(withDnsNames({"a\xFF.test", "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, bytesAreUtf8) {
    EXPECT_EQ(dnsNames(withDnsNames({"b\xC3\xBC\x63her.test"})), Names{L"b\u00FCcher.test"});
}

TEST(DnsNames, bufferThatIsTooSmallHoldsTheNamesThatFit) {
    const HeldContext certificate = contextOf(withDnsNames({"one.test", "two.test"}));
    for (DWORD size = 1; size <= 19; ++size) {
        std::wstring buffer(size, L'x');
        const DWORD written = ask(certificate.get(), CERT_NAME_DNS_TYPE, buffer.data(), size);
        EXPECT_LE(written, size);
        const Names expected = size < 10   ? Names{}
                               : size < 19 ? Names{L"one.test"}
                                           : Names{L"one.test", L"two.test"};
        EXPECT_EQ(split(buffer), expected) << size;
    }
}

TEST(DnsNames, withoutTheFlagForAllTheFirstOneIsGiven) {
    const HeldContext certificate = contextOf(withDnsNames({"one.test", "two.test"}));
    wchar_t buffer[32];
    EXPECT_EQ(
        platform::CertGetNameStringW(certificate.get(), CERT_NAME_DNS_TYPE, 0, nullptr, buffer, 32),
        9U);
    EXPECT_EQ(std::wstring(buffer), L"one.test");
}

std::wstring display(const Recipe& recipe) {
    return displayName(contextOf(recipe).get());
}

TEST(DisplayName, isTheCommonName) {
    Recipe recipe = withDnsNames({"dns.test"});
    recipe.subject = {{"O", "the organisation"}, {"CN", "the common name"}};
    EXPECT_EQ(display(recipe), L"the common name");
}

TEST(DisplayName, isElseTheOrganisation) {
    Recipe recipe = withDnsNames({"dns.test"});
    recipe.subject = {{"emailAddress", "mail@test"}, {"O", "the organisation"}};
    EXPECT_EQ(display(recipe), L"the organisation");
}

TEST(DisplayName, isElseTheFirstDnsName) {
    Recipe recipe = withDnsNames({"first.test", "second.test"});
    recipe.subject = {{"emailAddress", "mail@test"}};
    EXPECT_EQ(display(recipe), L"first.test");
}

TEST(DisplayName, isElseTheMailAddress) {
    Recipe recipe;
    recipe.subject = {{"emailAddress", "mail@test"}};
    EXPECT_EQ(display(recipe), L"mail@test");
    Recipe alternative;
    alternative.emailNames = {"other@test"};
    EXPECT_EQ(display(alternative), L"other@test");
}

TEST(DisplayName, noNameNeedsOneUnit) {
    const HeldContext certificate = contextOf(Recipe{});
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE, nullptr, 0), 1U);
}

TEST(DisplayName, isDecodedFromUtf8) {
    EXPECT_EQ(display(named("B\xC3\xBC\x63her \xF0\x9F\x94\x92")), L"B\u00FCcher \U0001F512");
}

TEST(DisplayName, controlCharactersBecomeQuestionMarks) {
    EXPECT_EQ(display(named("a\nb\x1b[2Jc\xE2\x80\xAE")), L"a?b?[2Jc?");
}

TEST(DisplayName, bufferThatIsTooSmallHoldsTheBeginning) {
    const HeldContext certificate = contextOf(named("common"));
    wchar_t buffer[] = L"xxxxxxxx";
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE, buffer, 4), 4U);
    EXPECT_EQ(std::wstring(buffer), L"com");
    EXPECT_EQ(buffer[4], L'x');
}

TEST(CertGetNameStringW, withoutACertificateThereIsNoName) {
    EXPECT_EQ(ask(nullptr, CERT_NAME_DNS_TYPE, nullptr, 0), 1U);
}

TEST(CertGetNameStringW, unknownKindOfNameIsNoName) {
    const HeldContext certificate = contextOf(named("common"));
    constexpr DWORD mailType = 1;
    EXPECT_EQ(ask(certificate.get(), mailType, nullptr, 0), 1U);
}

} // namespace
} // namespace VexaSsl::testing
