// Opening, searching, enumerating and closing a store, and comparing certificates.
#include "contract/stores/StoreFixture.h"
#include "platform/contract/Winsock.h"

#include <gmock/gmock.h>

namespace VexaSsl::test {
namespace {

using ::testing::UnorderedElementsAre;

using Names = std::vector<std::wstring>;

constexpr DWORD fileNotFound = 2;

class CertOpenStore : public StoreTest {};

TEST_F(CertOpenStore, storeNameIgnoresCase) {
    const OpenedStore store(openPersonalStore(L"My"));
    EXPECT_NE(store.get(), nullptr);
}

TEST_F(CertOpenStore, missingStoreIsNotFound) {
    EXPECT_EQ(openPersonalStore(L"no such store"), nullptr);
    EXPECT_EQ(platform::GetLastError(), fileNotFound);
}

class SubjectSearch : public StoreTest {
protected:
    SubjectSearch() {
        Recipe first = named("mail.shop.example");
        first.subject.insert(first.subject.begin(), {"O", "Bücher Ärmel"});
        install("a", issue(first));
        install("b", issue(named("www.shop.example")));
        install("c", issue(named("other.example")));
    }
};

TEST_F(SubjectSearch, textInsideTheSubjectMatches) {
    EXPECT_EQ(namesFoundBySubject(L"www.shop"), Names{L"www.shop.example"});
}

TEST_F(SubjectSearch, matchesComeInStoreOrder) {
    const Names hits = namesFoundBySubject(L"shop");
    EXPECT_EQ(hits.size(), 2U);
    Names expected = namesInPersonalStore();
    std::erase(expected, L"other.example");
    EXPECT_EQ(hits, expected);
}

TEST_F(SubjectSearch, searchIgnoresCase) {
    EXPECT_EQ(namesFoundBySubject(L"OTHER.Example"), Names{L"other.example"});
}

TEST_F(SubjectSearch, searchIgnoresCaseOfAccentedLetters) {
    EXPECT_EQ(namesFoundBySubject(L"bÜCHER äRMEL"), Names{L"mail.shop.example"});
}

TEST_F(SubjectSearch, valuesAreJoinedByCommaAndSpace) {
    EXPECT_EQ(namesFoundBySubject(L"ärmel, mail"), Names{L"mail.shop.example"});
}

TEST_F(SubjectSearch, attributeNamesAreNotSearched) {
    EXPECT_EQ(namesFoundBySubject(L"CN="), Names{});
}

TEST_F(SubjectSearch, missingMatchGivesNullAndNotFound) {
    const OpenedStore store;
    EXPECT_FALSE(findSubject(store.get(), L"nowhere"));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

TEST_F(SubjectSearch, endOfSearchGivesNullAndNotFound) {
    const OpenedStore store;
    HeldContext found = findSubject(store.get(), L"other");
    EXPECT_FALSE(findSubject(store.get(), L"other", found.release()));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

class UsageSearch : public StoreTest {
protected:
    UsageSearch() {
        install("a", withUsages("server", "serverAuth"));
        install("b", withUsages("client", "clientAuth"));
        install("c", withUsages("both", "clientAuth,serverAuth"));
        install("d", withUsages("none", ""));
        install("e", withUsages("any", "anyExtendedKeyUsage"));
    }

    static Issued withUsages(const std::string& name, const std::string& usages) {
        Recipe recipe = named(name);
        recipe.usages = usages;
        return issue(recipe);
    }
};

TEST_F(UsageSearch, certificatesListingTheUsageMatch) {
    EXPECT_THAT(namesFoundByUsage(serverUsage), UnorderedElementsAre(L"server", L"both"));
    EXPECT_THAT(namesFoundByUsage(clientUsage), UnorderedElementsAre(L"client", L"both"));
}

TEST_F(UsageSearch, certificateWithoutTheExtensionDoesNotMatch) {
    for (const std::wstring& name : namesFoundByUsage(serverUsage)) {
        EXPECT_NE(name, L"none");
    }
}

TEST_F(UsageSearch, everyRequestedUsageMustBeListed) {
    const OpenedStore store;
    HeldContext found = findUsages(store.get(), {serverUsage, clientUsage});
    EXPECT_EQ(displayName(found.get()), L"both");
    EXPECT_FALSE(findUsages(store.get(), {serverUsage, clientUsage}, found.release()));
}

TEST_F(UsageSearch, missingMatchGivesNullAndNotFound) {
    const OpenedStore store;
    EXPECT_FALSE(findUsages(store.get(), {"1.2.3.4"}));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

class StoreEnumeration : public StoreTest {
protected:
    StoreEnumeration() {
        install("a", issue(named("one")));
        install("b", issue(named("two")));
    }
};

TEST_F(StoreEnumeration, emptyStoreGivesNotFound) {
    uninstall("a");
    uninstall("b");
    const OpenedStore store;
    EXPECT_FALSE(firstIn(store.get()));
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_NOT_FOUND);
}

TEST_F(StoreEnumeration, enumerationReleasesThePreviousContext) {
    OpenedStore store;
    namesIn(store.get());
    EXPECT_TRUE(store.close());
}

TEST_F(StoreEnumeration, duplicatedContextOutlivesTheEnumeration) {
    OpenedStore store;
    const Names names = namesIn(store.get());
    HeldContext first = firstIn(store.get());
    const HeldContext kept = platform::CertDuplicateCertificateContext(first.get());
    const HeldContext second = nextIn(store.get(), first.release());
    EXPECT_EQ((Names{displayName(kept.get()), displayName(second.get())}), names);
}

class CertCloseStore : public StoreEnumeration {};

TEST_F(CertCloseStore, closingWithoutContextsSucceeds) {
    OpenedStore store;
    EXPECT_TRUE(store.close());
}

TEST_F(CertCloseStore, heldContextMakesTheClosePending) {
    OpenedStore store;
    const HeldContext held = firstIn(store.get());
    EXPECT_FALSE(store.close());
    EXPECT_EQ(platform::GetLastError(), CRYPT_E_PENDING_CLOSE);
}

TEST_F(CertCloseStore, releasedContextDoesNotMakeTheClosePending) {
    OpenedStore store;
    firstIn(store.get());
    EXPECT_TRUE(store.close());
}

TEST_F(CertCloseStore, heldDuplicateMakesTheClosePending) {
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

TEST_F(CertCloseStore, uncheckedCloseSucceedsWithHeldContexts) {
    const HCERTSTORE store = openPersonalStore();
    const HeldContext held = firstIn(store);
    EXPECT_TRUE(platform::CertCloseStore(store, 0));
}

TEST_F(CertCloseStore, contextOutlivesTheStore) {
    OpenedStore store;
    const HeldContext held = firstIn(store.get());
    const std::wstring name = displayName(held.get());
    store.close();
    EXPECT_EQ(displayName(held.get()), name);
    EXPECT_NE(held.get()->cbCertEncoded, 0U);
}

TEST_F(CertCloseStore, closingNullIsHarmless) {
    EXPECT_TRUE(platform::CertCloseStore(nullptr, CERT_CLOSE_STORE_CHECK_FLAG));
}

// --- A handle that has been closed, in every call that takes one.

struct StoreCall {
    const char* name;
    bool (*succeeds)(HCERTSTORE store);
};

void PrintTo(const StoreCall& call, std::ostream* out) {
    *out << call.name;
}

bool chainIsBuiltWith(HCERTSTORE additional) {
    const HeldContext leaf = contextOf(issue(named("leaf")));
    CERT_CHAIN_PARA parameters{};
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    const BOOL built = platform::CertGetCertificateChain(nullptr, leaf.get(), nullptr, additional,
                                                         &parameters, 0, nullptr, &chain);
    EXPECT_EQ(built != FALSE, chain != nullptr);
    platform::CertFreeCertificateChain(chain);
    return built != FALSE;
}

constexpr StoreCall storeCalls[] = {
    {"CertCloseStore",
     [](HCERTSTORE store) {
         return platform::CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG) != FALSE;
     }},
    {"CertFindCertificateInStore_bySubject",
     [](HCERTSTORE store) { return bool(findSubject(store, L"one")); }},
    {"CertFindCertificateInStore_byUsage",
     [](HCERTSTORE store) { return bool(findUsages(store, {serverUsage})); }},
    {"CertEnumCertificatesInStore",
     [](HCERTSTORE store) {
         return bool(HeldContext(platform::CertEnumCertificatesInStore(store, nullptr)));
     }},
    {"CertAddEncodedCertificateToStore",
     [](HCERTSTORE store) { return bool(addTo(store, der(issue(named("two"))))); }},
    {"CertGetCertificateChain", chainIsBuiltWith},
    {"CryptUIDlgSelectCertificateFromStore",
     [](HCERTSTORE store) {
         return bool(HeldContext(platform::CryptUIDlgSelectCertificateFromStore(
             store, nullptr, nullptr, nullptr, 0, 0, nullptr)));
     }},
};

class ClosedStore : public ContractTest, public testing::WithParamInterface<StoreCall> {
protected:
    static void expectRefused(HCERTSTORE store) {
        constexpr DWORD invalidArgument = 0x80070057;
        platform::WSASetLastError(0);
        EXPECT_FALSE(GetParam().succeeds(store));
        EXPECT_EQ(platform::GetLastError(), invalidArgument);
    }
};

TEST_P(ClosedStore, closedHandleIsRefused) {
    const HCERTSTORE store = openMemoryStore();
    addTo(store, der(issue(serverNamed("one"))));
    ASSERT_TRUE(platform::CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    expectRefused(store);
}

TEST_P(ClosedStore, closedHandleIsRefusedWhileContextsAreHeld) {
    const HCERTSTORE store = openMemoryStore();
    const HeldContext held = addTo(store, der(issue(serverNamed("one"))));
    ASSERT_TRUE(platform::CertCloseStore(store, 0));
    expectRefused(store);
    EXPECT_EQ(displayName(held.get()), L"one");
}

INSTANTIATE_TEST_SUITE_P(Calls, ClosedStore, testing::ValuesIn(storeCalls),
                         [](const auto& call) { return std::string(call.param.name); });

using CertificateContext = ContractTest;

TEST_F(CertificateContext, nullContextIsHarmless) {
    EXPECT_EQ(platform::CertDuplicateCertificateContext(nullptr), nullptr);
    EXPECT_TRUE(platform::CertFreeCertificateContext(nullptr));
}

TEST_F(StoreEnumeration, contextHoldsTheEncodedCertificateAndItsParts) {
    const Issued issued = issue(named("three"));
    install("c", issued);
    const OpenedStore store;
    const HeldContext found = findSubject(store.get(), L"three");
    const CERT_CONTEXT& context = *found.get();
    EXPECT_EQ(std::string(context.pbCertEncoded, context.pbCertEncoded + context.cbCertEncoded),
              der(issued));
    EXPECT_EQ(context.dwCertEncodingType, X509_ASN_ENCODING);
    EXPECT_EQ(context.hCertStore, store.get());
    EXPECT_EQ(context.pCertInfo->dwVersion, 2U);
    const auto& subject = context.pCertInfo->Subject;
    EXPECT_NE(std::string(subject.pbData, subject.pbData + subject.cbData).find("three"),
              std::string::npos);
}

class CertCompareCertificate : public StoreEnumeration {
protected:
    static BOOL areSame(const HeldContext& left, const HeldContext& right) {
        return platform::CertCompareCertificate(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                left.get()->pCertInfo, right.get()->pCertInfo);
    }
};

TEST_F(CertCompareCertificate, sameCertificateFromTwoStoresIsEqual) {
    const OpenedStore one;
    const OpenedStore two;
    EXPECT_TRUE(areSame(firstIn(one.get()), firstIn(two.get())));
}

TEST_F(CertCompareCertificate, certificatesOfOneIssuerDifferBySerialNumber) {
    const Issued root = issue(authorityNamed("root"));
    install("c", issue(named("three"), &root));
    install("d", issue(named("three"), &root));
    const OpenedStore store;
    HeldContext third = findSubject(store.get(), L"three");
    HeldContext again = platform::CertDuplicateCertificateContext(third.get());
    const HeldContext fourth = findSubject(store.get(), L"three", again.release());
    EXPECT_FALSE(areSame(third, fourth));
}

TEST_F(CertCompareCertificate, certificatesWithOneSerialNumberDifferByIssuer) {
    const OpenedStore store;
    const HeldContext one = firstIn(store.get());
    CERT_INFO other = *one.get()->pCertInfo;
    std::vector<BYTE> issuer(other.Issuer.pbData, other.Issuer.pbData + other.Issuer.cbData);
    issuer.back() ^= 1;
    other.Issuer.pbData = issuer.data();
    EXPECT_FALSE(platform::CertCompareCertificate(X509_ASN_ENCODING, one.get()->pCertInfo, &other));
}

} // namespace
} // namespace VexaSsl::test
