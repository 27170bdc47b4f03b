// The names of hostile and unusual certificates, and buffers that are too small for them.
#include "contract/stores/NameFixture.h"
#include "platform/openssl/stores/CertificateNames.h"
#include "platform/openssl/stores/OpenSslOwners.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

// With a subject of any length, unsigned.
openssl::X509Pointer certificateNamed(const std::string& commonName, const char* attribute = "CN") {
    openssl::X509Pointer certificate(X509_new());
    ASN1_OBJECT* type = OBJ_txt2obj(attribute, 0);
    X509_NAME_ENTRY* entry = X509_NAME_ENTRY_create_by_OBJ(
        nullptr, type, V_ASN1_UTF8STRING, reinterpret_cast<const unsigned char*>(commonName.data()),
        static_cast<int>(commonName.size()));
    X509_NAME_add_entry(X509_get_subject_name(certificate.get()), entry, -1, 0);
    X509_NAME_ENTRY_free(entry);
    ASN1_OBJECT_free(type);
    return certificate;
}

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

TEST(DnsNames, commonNameIsDnsNameWithinItsLimits) {
    const std::string label(63, 'a');
    const std::string longest = label + '.' + label + '.' + label + '.' + std::string(61, 'z');
    for (const std::string& text : {std::string("A-Z_0-9.test"), std::string("*.wild.test"),
                                    std::string("1.2.3.4a"), label}) {
        EXPECT_EQ(dnsNames(named(text)), Names{std::wstring(text.begin(), text.end())});
    }
    EXPECT_EQ(dnsNames(named(label + 'a')), Names{});
    // A common name has at most 64 characters, which longer ones exceed.
    EXPECT_EQ(openssl::dnsNamesOf(certificateNamed(longest).get()).size(), 1U);
    EXPECT_EQ(openssl::dnsNamesOf(certificateNamed(longest + 'z').get()).size(), 0U);
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

TEST(CertGetNameString, nullBufferOrSizeGivesTheSizeNeeded) {
    const HeldContext certificate = contextOf(withDnsNames({"one.test"}));
    for (const auto& [type, needed] :
         {std::pair{CERT_NAME_DNS_TYPE, 10U}, {CERT_NAME_FRIENDLY_DISPLAY_TYPE, 9U}, {99U, 1U}}) {
        wchar_t buffer[] = L"unchanged";
        EXPECT_EQ(ask(certificate.get(), type, nullptr, 20), needed);
        EXPECT_EQ(ask(certificate.get(), type, buffer, 0), needed);
        EXPECT_STREQ(buffer, L"unchanged");
    }
}

TEST(DisplayName, firstDnsNameReplacesMissingSubject) {
    Recipe recipe = withDnsNames({"first.test", "second.test"});
    recipe.subject = {{"emailAddress", "mail@test"}};
    EXPECT_EQ(display(recipe), L"first.test");
}

TEST(WholeName, valuesThatCouldBeMistakenAreQuoted) {
    const auto wholeName = [](const std::string& value, const char* attribute) {
        return openssl::distinguishedNameOf(
            X509_get_subject_name(certificateNamed(value, attribute).get()));
    };
    EXPECT_EQ(wholeName("a b", "O"), L"O=a b");
    EXPECT_EQ(wholeName("a", "1.2.3.4"), L"1.2.3.4=a");
    EXPECT_EQ(wholeName("a\"b", "O"), L"O=\"a\"\"b\"");
    EXPECT_EQ(wholeName("", "O"), L"O=\"\"");
    for (const std::string value : {" a", "a ", "a,", "a+", "a=", "<a", ">a", "#a", "a;"}) {
        EXPECT_EQ(wholeName(value, "O"),
                  L"O=\"" + std::wstring(value.begin(), value.end()) + L"\"");
    }
}

TEST(DisplayName, valueWithInvalidEncodingIsEmpty) {
    EXPECT_EQ(openssl::displayNameOf(certificateNamed("a\xFF").get()), L"");
}

TEST(DisplayName, onlyControlCharactersAreReplaced) {
    EXPECT_EQ(openssl::printable(L"\x1F\x20\x7E\x7F\x80\x9F\xA0"), L"?\x20\x7E???\xA0");
    EXPECT_EQ(openssl::printable(L"\x2029\x202A\x202E\x202F"), L"\x2029??\x202F");
    EXPECT_EQ(openssl::printable(L"\x2065\x2066\x2069\x206A"), L"\x2065??\x206A");
}

TEST(DisplayName, controlCharactersAreQuestionMarks) {
    EXPECT_EQ(display(named("a\nb\x1b[2Jc\xE2\x80\xAE")), L"a?b?[2Jc?");
}

} // namespace
} // namespace VexaSsl::test
