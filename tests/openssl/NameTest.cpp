// The names of hostile and unusual certificates, and buffers that are too small for them.
#include "contract/stores/NameFixture.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

TEST(DnsNames, commonNameFollowsTheAlternativeNames) {
    Recipe recipe = withDnsNames({"one.test"});
    recipe.subject = {{"CN", "common.test"}};
    EXPECT_EQ(dnsNames(recipe), (Names{L"one.test", L"common.test"}));
}

TEST(DnsNames, commonNameListedInAnyCaseIsNotRepeated) {
    Recipe recipe = withDnsNames({"one.test"});
    recipe.subject = {{"CN", "ONE.Test"}, {"CN", "two.test"}, {"CN", "Two.test"}};
    EXPECT_EQ(dnsNames(recipe), (Names{L"one.test", L"two.test"}));
}

TEST(DnsNames, everyCommonNameThatIsDnsNameCounts) {
    Recipe recipe = withDnsNames({"one.test"});
    recipe.subject = {
        {"CN", "first.test"}, {"O", "third.test"}, {"CN", "No Name"}, {"CN", "second.test"}};
    EXPECT_EQ(dnsNames(recipe), (Names{L"one.test", L"first.test", L"second.test"}));
}

TEST(DnsNames, commonNameThatIsNoDnsNameIsIgnored) {
    for (const char* text : {"Test Server", "a..b", ".test", "test.", "-a.test", "a-.test",
                             "127.0.0.1", "user@mail.test", "a.*.test", "*", "näme.test"}) {
        EXPECT_EQ(dnsNames(named(text)), Names{}) << text;
    }
}

TEST(DnsNames, nameWithZeroIsIgnored) {
    const std::string zeroInside("good.test\0.evil.test", 20);
    EXPECT_EQ(dnsNames(withDnsNames({zeroInside, "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, nameWithControlCharacterIsIgnored) {
    EXPECT_EQ(dnsNames(withDnsNames({"a\n.test", "a\x1b[2J.test", "one.test"})),
              Names{L"one.test"});
}

TEST(DnsNames, emptyNameDoesNotEndTheList) {
    EXPECT_EQ(dnsNames(withDnsNames({"", "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, nameWithInvalidEncodingIsIgnored) {
    EXPECT_EQ(dnsNames(withDnsNames({"a\xFF.test", "one.test"})), Names{L"one.test"});
}

TEST(DnsNames, nameOutsideAsciiIsIgnored) {
    EXPECT_EQ(dnsNames(withDnsNames({"b\xC3\xBC\x63her.test", "xn--bcher-kva.test"})),
              Names{L"xn--bcher-kva.test"});
}

TEST(DnsNames, tooSmallBufferHoldsTheNamesThatFit) {
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

TEST(DisplayName, firstDnsNameReplacesMissingSubject) {
    Recipe recipe = withDnsNames({"first.test", "second.test"});
    recipe.subject = {{"emailAddress", "mail@test"}};
    EXPECT_EQ(display(recipe), L"first.test");
}

TEST(DisplayName, controlCharactersAreQuestionMarks) {
    EXPECT_EQ(display(named("a\nb\x1b[2Jc\xE2\x80\xAE")), L"a?b?[2Jc?");
}

} // namespace
} // namespace VexaSsl::test
