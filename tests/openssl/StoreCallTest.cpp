// Store calls with arguments whose outcome the contract leaves open.
#include "openssl/CertificateFolderTest.h"
#include "platform/openssl/stores/SubjectText.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

constexpr DWORD invalidArgument = 0x80070057;
constexpr DWORD fileNotFound = 2;

using CertOpenStore = CertificateFolderTest;

class StoreEnumeration : public CertificateFolderTest {
protected:
    StoreEnumeration() {
        install("a.pem", issue(named("one")));
        install("b.pem", issue(named("two")));
    }
};
using CertCompareCertificate = StoreEnumeration;
using CertificateProperty = StoreEnumeration;
using SubjectSearch = StoreEnumeration;
using UsageSearch = StoreEnumeration;

TEST_F(CertOpenStore, otherNameIsNotFound) {
    EXPECT_EQ(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, L"ROOT"), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

TEST_F(CertOpenStore, otherProviderIsNotFound) {
    const char* const fileProvider = reinterpret_cast<const char*>(ULONG_PTR{7});
    EXPECT_EQ(platform::CertOpenStore(fileProvider, 0, 0, 0, L"MY"), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

TEST_F(CertOpenStore, missingNameIsNotFound) {
    EXPECT_EQ(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

TEST_F(SubjectSearch, emptyTextFindsNothing) {
    EXPECT_EQ(namesFoundBySubject(L""), Names{});
}

TEST_F(SubjectSearch, unknownSearchTypeReleasesThePreviousContext) {
    OpenedStore store;
    HeldContext found = firstIn(store.get());
    constexpr DWORD byHash = 0x10000;
    EXPECT_EQ(platform::CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, byHash,
                                                   nullptr, found.release()),
              nullptr);
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_TRUE(store.close());
}

TEST_F(StoreEnumeration, enumerationContinuesAfterRemovedFile) {
    const OpenedStore store;
    HeldContext first = firstIn(store.get());
    remove("my/a.pem");
    const OpenedStore newer;
    const HeldContext second = platform::CertEnumCertificatesInStore(store.get(), first.release());
    EXPECT_EQ(displayName(second.get()), L"two");
}

TEST_F(StoreEnumeration, nullStoreIsRefused) {
    const HCERTSTORE neverOpened = reinterpret_cast<HCERTSTORE>(~ULONG_PTR{0});
    for (const HCERTSTORE store : {HCERTSTORE{}, neverOpened}) {
        EXPECT_EQ(platform::CertEnumCertificatesInStore(store, nullptr), nullptr);
        EXPECT_EQ(platform::GetLastError(), invalidArgument);
    }
}

TEST_F(CertificateProperty, nullArgumentsAndOtherPropertiesAreRefused) {
    const OpenedStore store;
    const HeldContext one = firstIn(store.get());
    constexpr DWORD extension = CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG;
    constexpr DWORD otherProperty = 2;
    DWORD size = 0;
    EXPECT_FALSE(platform::CertGetEnhancedKeyUsage(nullptr, extension, nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_FALSE(platform::CertGetEnhancedKeyUsage(one.get(), extension, nullptr, nullptr));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_FALSE(platform::CertGetEnhancedKeyUsage(one.get(), 0, nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_FALSE(platform::CertGetCertificateContextProperty(nullptr, CERT_SHA1_HASH_PROP_ID,
                                                             nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_FALSE(platform::CertGetCertificateContextProperty(one.get(), CERT_SHA1_HASH_PROP_ID,
                                                             nullptr, nullptr));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_FALSE(
        platform::CertGetCertificateContextProperty(one.get(), otherProperty, nullptr, &size));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
}

TEST_F(CertificateProperty, sizeOfUsagesIsExact) {
    Recipe recipe = named("three");
    recipe.usages = "serverAuth,clientAuth";
    const HeldContext certificate = contextOf(issue(recipe));
    constexpr DWORD extension = CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG;
    constexpr DWORD needed =
        sizeof(CERT_ENHKEY_USAGE) + 2 * sizeof(char*) + sizeof serverUsage + sizeof clientUsage;
    std::vector<char> memory(needed, 'x');
    auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(memory.data());
    DWORD size = needed - 1;
    EXPECT_FALSE(platform::CertGetEnhancedKeyUsage(certificate.get(), extension, usage, &size));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(size, needed);
    ASSERT_TRUE(platform::CertGetEnhancedKeyUsage(certificate.get(), extension, usage, &size));
    EXPECT_STREQ(usage->rgpszUsageIdentifier[0], serverUsage);
    EXPECT_STREQ(usage->rgpszUsageIdentifier[1], clientUsage);
}

TEST_F(CertCompareCertificate, nullEqualsNothing) {
    const OpenedStore store;
    const HeldContext one = firstIn(store.get());
    CERT_INFO* const info = one.get()->pCertInfo;
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, nullptr, nullptr));
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, info, nullptr));
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, nullptr, info));
}

TEST_F(UsageSearch, longestIdentifierHas127Characters) {
    std::string identifier = "1.2";
    for (int i = 0; i < 62; ++i) {
        identifier += ".3";
    }
    for (const auto& [used, found] : {std::pair{identifier, identifier}, {identifier + '3', ""}}) {
        Recipe recipe = named("long");
        recipe.usages = used;
        std::vector<std::string> usages;
        EXPECT_TRUE(openssl::readUsages(issue(recipe).certificate.get(), usages));
        EXPECT_EQ(usages, std::vector<std::string>{found});
    }
}

TEST(MemoryStore, encodingThatIsNoCertificateIsBadTag) {
    const OpenedStore store(platform::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    const BYTE encoding[] = "no certificate";
    EXPECT_FALSE(platform::CertAddEncodedCertificateToStore(
        store.get(), X509_ASN_ENCODING, encoding, sizeof encoding, CERT_STORE_ADD_ALWAYS, nullptr));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
}

TEST_F(StoreEnumeration, refusedAdditionGivesNoContext) {
    const OpenedStore store;
    const HeldContext one = firstIn(store.get());
    PCCERT_CONTEXT added = one.get();
    EXPECT_FALSE(platform::CertAddEncodedCertificateToStore(
        store.get(), X509_ASN_ENCODING, one.get()->pbCertEncoded, one.get()->cbCertEncoded,
        CERT_STORE_ADD_ALWAYS, &added));
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_EQ(added, nullptr);
}

TEST_F(UsageSearch, searchWithoutUsagesFindsCertificatesWithTheExtension) {
    install("c.pem", issue(serverNamed("server")));
    const OpenedStore store;
    HeldContext found = findUsages(store.get(), {});
    EXPECT_EQ(displayName(found.get()), L"server");
    EXPECT_FALSE(findUsages(store.get(), {}, found.release()));
}

TEST_F(StoreEnumeration, contextOfOtherStoreIsRefusedAndReleased) {
    OpenedStore here;
    OpenedStore there;
    HeldContext foreign = firstIn(there.get());
    EXPECT_EQ(platform::CertEnumCertificatesInStore(here.get(), foreign.release()), nullptr);
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_TRUE(there.close());
}

} // namespace
} // namespace VexaSsl::test
