// Opening, searching, walking and closing a store, and comparing what it holds.
#include "contract/certificates/StoreFixture.h"

namespace VexaSsl::testing {
namespace {

using Names = std::vector<std::wstring>;

const char* const serverUsage = "1.3.6.1.5.5.7.3.1";
const char* const clientUsage = "1.3.6.1.5.5.7.3.2";
constexpr DWORD invalidArgument = 0x80070057;
constexpr DWORD fileNotFound = 2;

class CertOpenStore : public CertificateFolderTest {};

TEST_F(CertOpenStore, nameOfTheStoreCountsInAnyCase) {
    const OpenedStore store(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, L"My"));
    EXPECT_NE(store.get(), nullptr);
}

TEST_F(CertOpenStore, anotherNameIsNotFound) {
    EXPECT_EQ(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, L"ROOT"), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

TEST_F(CertOpenStore, anotherProviderIsNotFound) {
    const char* const memoryProvider = reinterpret_cast<const char*>(ULONG_PTR{2});
    EXPECT_EQ(platform::CertOpenStore(memoryProvider, 0, 0, 0, L"MY"), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

TEST_F(CertOpenStore, missingNameIsNotFound) {
    EXPECT_EQ(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

class SubjectSearch : public CertificateFolderTest {
protected:
    SubjectSearch() {
        Recipe first = named("mail.shop.example");
        first.subject.insert(first.subject.begin(), {"O", "Bücher Ärmel"});
        install("a.pem", issue(first));
        install("b.pem", issue(named("www.shop.example")));
        install("c.pem", issue(named("other.example")));
    }
};

TEST_F(SubjectSearch, textInsideALongerSubjectIsAHit) {
    EXPECT_EQ(namesFoundBySubject(L"www.shop"), Names{L"www.shop.example"});
}

TEST_F(SubjectSearch, severalHitsComeInTheOrderOfTheStore) {
    EXPECT_EQ(namesFoundBySubject(L"shop"), (Names{L"mail.shop.example", L"www.shop.example"}));
}

TEST_F(SubjectSearch, caseDoesNotCount) {
    EXPECT_EQ(namesFoundBySubject(L"OTHER.Example"), Names{L"other.example"});
}

TEST_F(SubjectSearch, caseDoesNotCountForAccentedLettersEither) {
    EXPECT_EQ(namesFoundBySubject(L"bÜCHER äRMEL"), Names{L"mail.shop.example"});
}

TEST_F(SubjectSearch, valuesAreJoinedByCommaAndBlank) {
    EXPECT_EQ(namesFoundBySubject(L"ärmel, mail"), Names{L"mail.shop.example"});
}

TEST_F(SubjectSearch, namesOfAttributesAreNoPartOfTheText) {
    EXPECT_EQ(namesFoundBySubject(L"CN="), Names{});
}

TEST_F(SubjectSearch, emptyTextFindsNothing) {
    EXPECT_EQ(namesFoundBySubject(L""), Names{});
}

TEST_F(SubjectSearch, missGivesNullAndNotFound) {
    const OpenedStore store;
    EXPECT_FALSE(findSubject(store.get(), L"nowhere"));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

TEST_F(SubjectSearch, endOfTheWalkGivesNullAndNotFound) {
    const OpenedStore store;
    HeldContext found = findSubject(store.get(), L"other");
    EXPECT_FALSE(findSubject(store.get(), L"other", found.release()));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

TEST_F(SubjectSearch, unknownKindOfSearchReleasesThePreviousOne) {
    OpenedStore store;
    HeldContext found = firstIn(store.get());
    constexpr DWORD byHash = 0x10000;
    EXPECT_EQ(platform::CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, byHash,
                                                   nullptr, found.release()),
              nullptr);
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_TRUE(store.close());
}

class UsageSearch : public CertificateFolderTest {
protected:
    UsageSearch() {
        install("a.pem", withUsages("server", "serverAuth"));
        install("b.pem", withUsages("client", "clientAuth"));
        install("c.pem", withUsages("both", "clientAuth,serverAuth"));
        install("d.pem", withUsages("none", ""));
        install("e.pem", withUsages("any", "anyExtendedKeyUsage"));
    }

    static Issued withUsages(const std::string& name, const std::string& usages) {
        Recipe recipe = named(name);
        recipe.usages = usages;
        return issue(recipe);
    }
};

TEST_F(UsageSearch, findsTheCertificatesThatNameTheUsage) {
    EXPECT_EQ(namesFoundByUsage(serverUsage), (Names{L"server", L"both"}));
    EXPECT_EQ(namesFoundByUsage(clientUsage), (Names{L"client", L"both"}));
}

TEST_F(UsageSearch, certificateWithoutTheExtensionIsNoHit) {
    for (const std::wstring& name : namesFoundByUsage(serverUsage))
        EXPECT_NE(name, L"none");
}

TEST_F(UsageSearch, severalUsagesMustAllBeNamed) {
    const OpenedStore store;
    HeldContext found = findUsages(store.get(), {serverUsage, clientUsage});
    EXPECT_EQ(displayName(found.get()), L"both");
    EXPECT_FALSE(findUsages(store.get(), {serverUsage, clientUsage}, found.release()));
}

TEST_F(UsageSearch, missGivesNullAndNotFound) {
    const OpenedStore store;
    EXPECT_FALSE(findUsages(store.get(), {"1.2.3.4"}));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

class StoreWalk : public CertificateFolderTest {
protected:
    StoreWalk() {
        install("a.pem", issue(named("one")));
        install("b.pem", issue(named("two")));
    }
};

TEST_F(StoreWalk, emptyStoreEndsAtOnceWithNotFound) {
    remove("my/a.pem");
    remove("my/b.pem");
    const OpenedStore store;
    EXPECT_FALSE(firstIn(store.get()));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

TEST_F(StoreWalk, releasesThePreviousOne) {
    OpenedStore store;
    namesIn(store.get());
    EXPECT_TRUE(store.close());
}

TEST_F(StoreWalk, keepsWhatWasDuplicated) {
    OpenedStore store;
    PCCERT_CONTEXT first = platform::CertEnumCertificatesInStore(store.get(), nullptr);
    const HeldContext kept = platform::CertDuplicateCertificateContext(first);
    const HeldContext second = platform::CertEnumCertificatesInStore(store.get(), first);
    EXPECT_EQ(displayName(kept.get()), L"one");
    EXPECT_EQ(displayName(second.get()), L"two");
}

TEST_F(StoreWalk, previousOneOfAnotherStoreIsRefusedAndReleased) {
    OpenedStore here;
    OpenedStore there;
    HeldContext foreign = firstIn(there.get());
    EXPECT_EQ(platform::CertEnumCertificatesInStore(here.get(), foreign.release()), nullptr);
    EXPECT_EQ(platform::GetLastError(), invalidArgument);
    EXPECT_TRUE(there.close());
}

TEST_F(StoreWalk, previousOneWhoseFileIsGoneStillLeadsOn) {
    const OpenedStore store;
    HeldContext first = firstIn(store.get());
    remove("my/a.pem");
    const OpenedStore newer;
    const HeldContext second = platform::CertEnumCertificatesInStore(store.get(), first.release());
    EXPECT_EQ(displayName(second.get()), L"two");
}

TEST_F(StoreWalk, storeThatWasNeverOpenedIsRefused) {
    const HCERTSTORE neverOpened = reinterpret_cast<HCERTSTORE>(~ULONG_PTR{0});
    for (const HCERTSTORE store : {HCERTSTORE{}, neverOpened}) {
        EXPECT_EQ(platform::CertEnumCertificatesInStore(store, nullptr), nullptr);
        EXPECT_EQ(platform::GetLastError(), invalidArgument);
    }
}

class CertCloseStore : public StoreWalk {};

TEST_F(CertCloseStore, withoutContextsSucceeds) {
    OpenedStore store;
    EXPECT_TRUE(store.close());
}

TEST_F(CertCloseStore, contextStillHeldIsPending) {
    OpenedStore store;
    const HeldContext held = firstIn(store.get());
    EXPECT_FALSE(store.close());
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_PENDING_CLOSE);
}

TEST_F(CertCloseStore, contextReleasedBeforeIsNotPending) {
    OpenedStore store;
    firstIn(store.get());
    EXPECT_TRUE(store.close());
}

TEST_F(CertCloseStore, duplicateStillHeldIsPending) {
    OpenedStore store;
    HeldContext first = firstIn(store.get());
    const HeldContext duplicate = platform::CertDuplicateCertificateContext(first.get());
    first = HeldContext();
    EXPECT_FALSE(store.close());
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_PENDING_CLOSE);
}

TEST_F(CertCloseStore, contextsOfOtherHandlesDoNotCount) {
    OpenedStore store;
    const OpenedStore other;
    const HeldContext held = firstIn(other.get());
    EXPECT_TRUE(store.close());
}

TEST_F(CertCloseStore, withoutTheCheckSucceedsWhateverIsHeld) {
    const HCERTSTORE store = platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, 0, L"MY");
    const HeldContext held = firstIn(store);
    EXPECT_TRUE(platform::CertCloseStore(store, 0));
}

TEST_F(CertCloseStore, contextStaysUsableAfterTheClose) {
    OpenedStore store;
    const HeldContext held = firstIn(store.get());
    store.close();
    EXPECT_EQ(displayName(held.get()), L"one");
    EXPECT_NE(held.get()->cbCertEncoded, 0U);
}

TEST_F(CertCloseStore, noStoreIsHarmless) {
    EXPECT_TRUE(platform::CertCloseStore(nullptr, CERT_CLOSE_STORE_CHECK_FLAG));
}

TEST(CertificateContext, nullIsHarmless) {
    EXPECT_EQ(platform::CertDuplicateCertificateContext(nullptr), nullptr);
    EXPECT_TRUE(platform::CertFreeCertificateContext(nullptr));
}

TEST_F(StoreWalk, contextShowsTheEncodedCertificateAndItsParts) {
    const Issued issued = issue(named("three"));
    install("c.pem", issued);
    const OpenedStore store;
    const HeldContext found = findSubject(store.get(), L"three");
    const CERT_CONTEXT& context = *found.get();
    EXPECT_EQ(std::string(context.pbCertEncoded, context.pbCertEncoded + context.cbCertEncoded),
              der(issued));
    EXPECT_EQ(context.dwCertEncodingType, X509_ASN_ENCODING);
    EXPECT_EQ(context.hCertStore, store.get());
    EXPECT_EQ(context.pCertInfo->dwVersion, 2U);
    const CRYPTOAPI_BLOB& subject = context.pCertInfo->Subject;
    EXPECT_NE(std::string(subject.pbData, subject.pbData + subject.cbData).find("three"),
              std::string::npos);
}

class CertCompareCertificate : public StoreWalk {
protected:
    static BOOL areSame(const HeldContext& left, const HeldContext& right) {
        return platform::CertCompareCertificate(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                left.get()->pCertInfo, right.get()->pCertInfo);
    }
};

TEST_F(CertCompareCertificate, oneCertificateFromTwoStoresIsTheSame) {
    const OpenedStore one;
    const OpenedStore two;
    EXPECT_TRUE(areSame(firstIn(one.get()), firstIn(two.get())));
}

TEST_F(CertCompareCertificate, serialNumberTellsCertificatesOfOneIssuerApart) {
    const Issued root = issue(authorityNamed("root"));
    install("c.pem", issue(named("three"), &root));
    install("d.pem", issue(named("three"), &root));
    const OpenedStore store;
    HeldContext third = findSubject(store.get(), L"three");
    HeldContext again = platform::CertDuplicateCertificateContext(third.get());
    const HeldContext fourth = findSubject(store.get(), L"three", again.release());
    EXPECT_FALSE(areSame(third, fourth));
}

TEST_F(CertCompareCertificate, issuerTellsCertificatesOfOneSerialNumberApart) {
    const OpenedStore store;
    const HeldContext one = firstIn(store.get());
    CERT_INFO other = *one.get()->pCertInfo;
    std::vector<BYTE> issuer(other.Issuer.pbData, other.Issuer.pbData + other.Issuer.cbData);
    issuer.back() ^= 1;
    other.Issuer.pbData = issuer.data();
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, one.get()->pCertInfo, &other));
}

TEST_F(CertCompareCertificate, nullIsTheSameAsNothing) {
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, nullptr, nullptr));
}

} // namespace
} // namespace VexaSsl::testing
