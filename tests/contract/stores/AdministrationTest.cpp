// The calls that only the administration of certificates makes: certificates in memory, whole
// names, usages, hashes, and the check of a server name.
#include "contract/stores/ChainFixture.h"

#include <algorithm>
#include <cstddef>

namespace VexaSsl::test {
namespace {

class MemoryStore : public StoreTest {
protected:
    HeldContext add(const Issued& issued) const { return addTo(store.get(), der(issued)); }
    std::vector<std::wstring> names() const {
        std::vector<std::wstring> found;
        HeldContext current;
        while ((current = platform::CertEnumCertificatesInStore(store.get(), current.release()))) {
            found.push_back(displayName(current.get()));
        }
        return found;
    }

    OpenedStore store{openMemoryStore()};
};

TEST_F(MemoryStore, newMemoryStoreIsEmpty) {
    ASSERT_NE(store.get(), nullptr);
    EXPECT_TRUE(names().empty());
}

TEST_F(MemoryStore, memoryStoreKeepsDuplicates) {
    const Issued one = issue(named("one"));
    add(one);
    add(issue(named("two")));
    add(one);
    std::vector<std::wstring> found = names();
    std::sort(found.begin(), found.end()); // a memory store has no defined order
    EXPECT_EQ(found, (std::vector<std::wstring>{L"one", L"one", L"two"}));
}

TEST_F(MemoryStore, addingReturnsTheCertificate) {
    const HeldContext added = add(issue(named("one")));
    ASSERT_TRUE(added);
    EXPECT_EQ(displayName(added.get()), L"one");
}

TEST_F(MemoryStore, invalidEncodingIsRefused) {
    EXPECT_FALSE(addTo(store.get(), ""));
    EXPECT_FALSE(addTo(store.get(), "no certificate"));
    const std::string whole = der(issue(named("one")));
    EXPECT_FALSE(addTo(store.get(), whole.substr(0, whole.size() - 1)));
    EXPECT_TRUE(names().empty());
}

TEST_F(MemoryStore, certificateOutlivesTheStore) {
    const HeldContext added = add(issue(named("one")));
    store.close();
    EXPECT_EQ(displayName(added.get()), L"one");
}

using MemoryStoreChain = ChainTest;

TEST_F(MemoryStoreChain, memoryStoreCompletesTheChain) {
    OpenedStore store(openMemoryStore());
    const HeldContext leaf = addTo(store.get(), der(issue(serverNamed("leaf.test"), &between)));
    ASSERT_TRUE(leaf);
    EXPECT_EQ(elementsOf(chainOf(leaf.get(), serverUsage, nullptr, store.get())),
              std::vector<std::wstring>{L"leaf.test"});
    addTo(store.get(), der(between));
    const HeldChain chain = chainOf(leaf.get(), serverUsage, nullptr, store.get());
    EXPECT_EQ(verdictOn(chain), trusted);
    EXPECT_EQ(elementsOf(chain), (std::vector<std::wstring>{L"leaf.test", L"between", L"root"}));
}

// --- Names.

class WholeName : public StoreTest {
protected:
    static std::wstring of(PCCERT_CONTEXT certificate, DWORD flags = 0) {
        DWORD form = CERT_X500_NAME_STR;
        const DWORD size =
            platform::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, flags, &form, nullptr, 0);
        std::wstring name(size, L'x');
        EXPECT_EQ(platform::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, flags, &form,
                                               name.data(), size),
                  size);
        EXPECT_EQ(name.back(), L'\0');
        name.pop_back();
        return name;
    }
};

TEST_F(WholeName, wholeNameHasEveryAttributeOfTheSubject) {
    Recipe recipe;
    recipe.subject = {{"O", "two"}, {"CN", "one"}};
    EXPECT_EQ(of(contextOf(issue(recipe)).get()), L"O=two, CN=one");
}

TEST_F(WholeName, issuerFlagGivesTheIssuersName) {
    const Issued issuer = issue(authorityNamed("the issuer"));
    EXPECT_EQ(of(contextOf(issue(named("one"), &issuer)).get(), CERT_NAME_ISSUER_FLAG),
              L"CN=the issuer");
}

TEST_F(WholeName, valueThatLooksLikeAttributeIsQuoted) {
    EXPECT_EQ(of(contextOf(issue(named("one, O=two"))).get()), L"CN=\"one, O=two\"");
}

// --- Usages and hashes.

class CertificateUsages : public StoreTest {
protected:
    static BOOL ask(PCCERT_CONTEXT certificate, CERT_ENHKEY_USAGE* usage, DWORD& size) {
        return platform::CertGetEnhancedKeyUsage(certificate, CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG,
                                                 usage, &size);
    }
};

TEST_F(CertificateUsages, usagesAreThoseOfTheExtension) {
    Recipe recipe = named("one");
    recipe.usages = "serverAuth,clientAuth";
    const HeldContext certificate = contextOf(issue(recipe));
    DWORD size = 0;
    ASSERT_TRUE(ask(certificate.get(), nullptr, size));
    ASSERT_GE(size, sizeof(CERT_ENHKEY_USAGE));
    std::vector<std::max_align_t> memory(size / sizeof(std::max_align_t) + 1);
    auto* usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(memory.data());
    ASSERT_TRUE(ask(certificate.get(), usage, size));
    std::vector<std::string> usages(usage->rgpszUsageIdentifier,
                                    usage->rgpszUsageIdentifier + usage->cUsageIdentifier);
    std::sort(usages.begin(), usages.end());
    EXPECT_EQ(usages, (std::vector<std::string>{serverUsage, clientUsage}));
}

TEST_F(CertificateUsages, missingExtensionIsNotFound) {
    const HeldContext certificate = contextOf(issue(named("one")));
    DWORD size = 0;
    EXPECT_FALSE(ask(certificate.get(), nullptr, size));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
}

class CertificateHash : public StoreTest {
protected:
    static std::vector<BYTE> of(PCCERT_CONTEXT certificate) {
        DWORD size = 0;
        EXPECT_TRUE(platform::CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID,
                                                                nullptr, &size));
        std::vector<BYTE> hash(size);
        EXPECT_TRUE(platform::CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID,
                                                                hash.data(), &size));
        EXPECT_EQ(size, 20U);
        return hash;
    }
};

TEST_F(CertificateHash, hashesOfDifferentCertificatesDiffer) {
    const Issued one = issue(named("one"));
    const HeldContext first = contextOf(one);
    const HeldContext again = contextOf(one);
    const HeldContext other = contextOf(issue(named("two")));
    EXPECT_EQ(of(first.get()), of(again.get()));
    EXPECT_NE(of(first.get()), of(other.get()));
}

TEST_F(CertificateHash, tooSmallBufferGivesTheSizeNeeded) {
    const HeldContext certificate = contextOf(issue(named("one")));
    BYTE room[4];
    DWORD size = sizeof room;
    EXPECT_FALSE(platform::CertGetCertificateContextProperty(certificate.get(),
                                                             CERT_SHA1_HASH_PROP_ID, room, &size));
    EXPECT_EQ(platform::GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 20U);
}

// --- The policy with a name.

class NamedPolicy : public ChainTest {
protected:
    static DWORD verdictOf(PCCERT_CONTEXT leaf, const std::wstring& name, DWORD ignored = 0) {
        const HeldChain chain = chainOf(leaf, serverUsage);
        std::wstring asked = name;
        SSL_EXTRA_CERT_CHAIN_POLICY_PARA extra{};
        extra.cbSize = sizeof extra;
        extra.dwAuthType = AUTHTYPE_SERVER;
        extra.fdwChecks = ignored;
        extra.pwszServerName = asked.data();
        CERT_CHAIN_POLICY_PARA parameters{};
        parameters.cbSize = sizeof parameters;
        parameters.pvExtraPolicyPara = &extra;
        CERT_CHAIN_POLICY_STATUS status{};
        status.cbSize = sizeof status;
        EXPECT_TRUE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.get(),
                                                               &parameters, &status));
        return status.dwError;
    }

    HeldContext expired() const {
        Recipe recipe = serverNamed("leaf.test");
        recipe.firstDay = -10;
        recipe.lastDay = -5;
        return contextOf(issue(recipe, &root));
    }

    static constexpr DWORD wrongName = static_cast<DWORD>(CERT_E_CN_NO_MATCH);
};

TEST_F(NamedPolicy, nameOfTheCertificateIsAccepted) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf.test"), &root));
    EXPECT_EQ(verdictOf(leaf.get(), L"leaf.test"), 0U);
    EXPECT_EQ(verdictOf(leaf.get(), L"LEAF.test"), 0U);
}

TEST_F(NamedPolicy, otherNameIsRefused) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf.test"), &root));
    EXPECT_EQ(verdictOf(leaf.get(), L"other.test"), wrongName);
}

TEST_F(NamedPolicy, wildcardMatchesOneLabel) {
    const HeldContext leaf = contextOf(issue(serverNamed("*.wild.test"), &root));
    EXPECT_EQ(verdictOf(leaf.get(), L"a.wild.test"), 0U);
    EXPECT_EQ(verdictOf(leaf.get(), L"a.b.wild.test"), wrongName);
}

TEST_F(NamedPolicy, chainFaultsComeBeforeTheName) {
    EXPECT_EQ(verdictOf(expired().get(), L"other.test"), static_cast<DWORD>(CERT_E_EXPIRED));
}

TEST_F(NamedPolicy, nameIsCheckedWhenOtherFaultsAreIgnored) {
    EXPECT_EQ(verdictOf(expired().get(), L"other.test", SECURITY_FLAG_IGNORE_CERT_DATE_INVALID),
              wrongName);
    EXPECT_EQ(verdictOf(expired().get(), L"leaf.test", SECURITY_FLAG_IGNORE_CERT_DATE_INVALID), 0U);
    const HeldContext untrusted = contextOf(issue(serverNamed("leaf.test"), &stranger));
    EXPECT_EQ(verdictOf(untrusted.get(), L"other.test", SECURITY_FLAG_IGNORE_UNKNOWN_CA),
              wrongName);
}

} // namespace
} // namespace VexaSsl::test
