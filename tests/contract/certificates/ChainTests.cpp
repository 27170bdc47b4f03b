// Chains and the verdict on them: the status and the element at fault.
#include "contract/certificates/StoreFixture.h"

namespace VexaSsl::testing {
namespace {

using Names = std::vector<std::wstring>;

const char* const serverUsage = "1.3.6.1.5.5.7.3.1";
const char* const clientUsage = "1.3.6.1.5.5.7.3.2";

struct FreeChain {
    void operator()(PCCERT_CHAIN_CONTEXT chain) const { platform::CertFreeCertificateChain(chain); }
};
using HeldChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain>;

struct Verdict {
    DWORD error;
    LONG element;

    bool operator==(const Verdict&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
        return out << std::hex << verdict.error << " at " << std::dec << verdict.element;
    }
};
constexpr Verdict trusted{0, -1};

HeldChain chainOf(PCCERT_CONTEXT certificate, std::string usage, FILETIME* time = nullptr,
                  HCERTSTORE additional = nullptr) {
    char* identifiers[] = {usage.data()};
    CERT_CHAIN_PARA parameters;
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage = {usage.empty() ? 0U : 1U, identifiers};
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    EXPECT_TRUE(platform::CertGetCertificateChain(nullptr, certificate, time, additional,
                                                  &parameters, 0, nullptr, &chain));
    return HeldChain(chain);
}

Verdict verdictOn(const HeldChain& chain) {
    CERT_CHAIN_POLICY_PARA parameters{16, 0, nullptr};
    CERT_CHAIN_POLICY_STATUS status{24, 77, 77, 77, nullptr};
    EXPECT_TRUE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.get(),
                                                           &parameters, &status));
    EXPECT_EQ(status.lChainIndex, status.dwError == 0 ? -1 : 0);
    return {status.dwError, status.lElementIndex};
}

Names elementsOf(const HeldChain& chain) {
    Names names;
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
    for (DWORD i = 0; i < simple.cElement; ++i)
        names.push_back(displayName(simple.rgpElement[i]->pCertContext));
    return names;
}

class ChainTest : public CertificateFolderTest {
protected:
    ChainTest() { write("root/root.pem", pem(root)); }

    static Verdict judge(const Issued& leaf, const std::vector<const Issued*>& sent = {},
                         const char* usage = serverUsage) {
        return verdictOn(chainOf(contextOf(leaf, sent).get(), usage));
    }

    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
    const Issued stranger = issue(authorityNamed("stranger"));
};

class ChainPolicy : public ChainTest {};

TEST_F(ChainPolicy, leafOfATrustedRootIsTrusted) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &root)), trusted);
}

TEST_F(ChainPolicy, helperThatWasSentLinksTheChain) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &between), {&between}), trusted);
}

TEST_F(ChainPolicy, entryOfThePersonalStoreIsLinkedByTheHelpersOfItsFile) {
    install("leaf.pem", issue(serverNamed("leaf"), &between), {&between});
    const OpenedStore store;
    EXPECT_EQ(verdictOn(chainOf(firstIn(store.get()).get(), serverUsage)), trusted);
}

TEST_F(ChainPolicy, certificatesOfOtherFilesLinkNoChain) {
    install("a.pem", issue(serverNamed("linked"), &between), {&between});
    install("b.pem", issue(serverNamed("alone"), &between));
    const OpenedStore store;
    const HeldContext alone = findSubject(store.get(), L"alone");
    EXPECT_EQ(verdictOn(chainOf(alone.get(), serverUsage)), (Verdict{CERT_E_CHAINING, 0}));
}

TEST_F(ChainPolicy, additionalStoreLinksTheChain) {
    install("between.pem", between);
    const OpenedStore additional;
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &between));
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, nullptr, additional.get())), trusted);
}

TEST_F(ChainPolicy, selfSignedAnchorIsTrustedItself) {
    Recipe recipe = serverNamed("alone");
    const Issued alone = issue(recipe);
    write("root/alone.pem", pem(alone));
    EXPECT_EQ(judge(alone), trusted);
}

TEST_F(ChainPolicy, missingIssuerIsTheFaultOfTheLastOnePresent) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &between)), (Verdict{CERT_E_CHAINING, 0}));
    const Issued below = issue(authorityNamed("below"), &between);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &below), {&below}), (Verdict{CERT_E_CHAINING, 1}));
}

TEST_F(ChainPolicy, selfSignedLeafIsAnUntrustedRoot) {
    EXPECT_EQ(judge(issue(serverNamed("alone"))), (Verdict{CERT_E_UNTRUSTEDROOT, 0}));
}

TEST_F(ChainPolicy, untrustedRootThatWasSentIsTheElementAtFault) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &stranger), {&stranger}),
              (Verdict{CERT_E_UNTRUSTEDROOT, 1}));
}

TEST_F(ChainPolicy, expiredLeaf) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(judge(issue(recipe, &root)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, leafThatIsNotYetValid) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = 10;
    EXPECT_EQ(judge(issue(recipe, &root)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, expiredIntermediateIsTheElementAtFault) {
    Recipe recipe = authorityNamed("expired");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    const Issued expired = issue(recipe, &root);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &expired), {&expired}),
              (Verdict{CERT_E_EXPIRED, 1}));
}

TEST_F(ChainPolicy, usageThatIsNotNamedIsWrong) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &root), {}, clientUsage),
              (Verdict{CERT_E_WRONG_USAGE, 0}));
}

TEST_F(ChainPolicy, certificateWithoutTheExtensionSuitsEveryUsage) {
    const Issued leaf = issue(named("leaf"), &root);
    EXPECT_EQ(judge(leaf, {}, clientUsage), trusted);
    EXPECT_EQ(judge(leaf, {}, serverUsage), trusted);
    EXPECT_EQ(judge(leaf, {}, "1.3.6.1.5.5.7.3.3"), trusted);
}

TEST_F(ChainPolicy, usageOtherThanThoseOfTlsIsLookedAtToo) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &root), {}, "1.3.6.1.5.5.7.3.3"),
              (Verdict{CERT_E_WRONG_USAGE, 0}));
}

TEST_F(ChainPolicy, withoutARequestEveryUsageWillDo) {
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &root), {}, ""), trusted);
}

TEST_F(ChainPolicy, usageThatTheIntermediateExcludesIsItsFault) {
    Recipe recipe = authorityNamed("between");
    recipe.usages = "clientAuth";
    const Issued clientsOnly = issue(recipe, &root);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &clientsOnly), {&clientsOnly}),
              (Verdict{CERT_E_WRONG_USAGE, 1}));
}

TEST_F(ChainPolicy, brokenSignatureIsTheFaultOfTheCertificateThatBearsIt) {
    EXPECT_EQ(judge(withBrokenSignature(issue(serverNamed("leaf"), &root))),
              (Verdict{TRUST_E_CERT_SIGNATURE, 0}));
}

TEST_F(ChainPolicy, keyTooWeakForTlsIsRefused) {
    Recipe weak = serverNamed("leaf");
    weak.rsaBits = 1024;
    EXPECT_EQ(judge(issue(weak, &root)), (Verdict{TRUST_E_CERT_SIGNATURE, 0}));
    weak.rsaBits = 2048;
    EXPECT_EQ(judge(issue(weak, &root)), trusted);
}

TEST_F(ChainPolicy, authorityWithAKeyTooWeakForTlsIsTheElementAtFault) {
    Recipe weak = authorityNamed("weak");
    weak.rsaBits = 1024;
    const Issued authority = issue(weak, &root);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &authority), {&authority}),
              (Verdict{TRUST_E_CERT_SIGNATURE, 1}));
}

TEST_F(ChainPolicy, issuerThatIsNoAuthorityIsTheElementAtFault) {
    const Issued server = issue(serverNamed("server"), &root);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &server), {&server}),
              (Verdict{TRUST_E_BASIC_CONSTRAINTS, 1}));
}

TEST_F(ChainPolicy, chainLongerThanItsAuthorityAllows) {
    Recipe recipe = authorityNamed("short");
    recipe.basicConstraints = "critical,CA:TRUE,pathlen:0";
    const Issued shortOne = issue(recipe, &root);
    const Issued below = issue(authorityNamed("below"), &shortOne);
    EXPECT_EQ(judge(issue(serverNamed("leaf"), &below), {&below, &shortOne}).error,
              TRUST_E_BASIC_CONSTRAINTS);
}

TEST_F(ChainPolicy, nameThatTheIssuerDoesNotPermit) {
    Recipe recipe = authorityNamed("inside only");
    recipe.nameConstraints = "critical,permitted;DNS:inside.test";
    const Issued insideOnly = issue(recipe, &root);
    EXPECT_EQ(judge(issue(serverNamed("www.inside.test"), &insideOnly), {&insideOnly}), trusted);
    EXPECT_EQ(judge(issue(serverNamed("www.outside.test"), &insideOnly), {&insideOnly}).error,
              CERT_E_INVALID_NAME);
}

TEST_F(ChainPolicy, criticalExtensionThatNobodyKnows) {
    Recipe recipe = serverNamed("leaf");
    recipe.criticalExtension = "1.2.3.4.5";
    EXPECT_EQ(judge(issue(recipe, &root)), (Verdict{CERT_E_CRITICAL, 0}));
}

TEST_F(ChainPolicy, untrustedRootComesBeforeExpired) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(judge(issue(recipe, &stranger), {&stranger}), (Verdict{CERT_E_UNTRUSTEDROOT, 1}));
}

TEST_F(ChainPolicy, missingIssuerComesBeforeExpired) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(judge(issue(recipe, &stranger)), (Verdict{CERT_E_CHAINING, 0}));
}

TEST_F(ChainPolicy, expiredComesBeforeWrongUsage) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(judge(issue(recipe, &root), {}, clientUsage), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, impostorWithTheNameOfATrustedRootIsNotTrusted) {
    const Issued impostor = issue(authorityNamed("root"));
    EXPECT_NE(judge(issue(serverNamed("leaf"), &impostor), {&impostor}).error, 0U);
}

TEST_F(ChainPolicy, nullChainCannotBeJudged) {
    CERT_CHAIN_POLICY_PARA parameters;
    CERT_CHAIN_POLICY_STATUS status;
    EXPECT_FALSE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, nullptr,
                                                            &parameters, &status));
    EXPECT_NE(platform::GetLastError(), 0U);
    EXPECT_EQ(status.dwError, 0U);
}

TEST_F(ChainPolicy, anotherPolicyCannotBeJudged) {
    const HeldChain chain = chainOf(contextOf(root).get(), "");
    CERT_CHAIN_POLICY_PARA parameters;
    CERT_CHAIN_POLICY_STATUS status;
    const char* const basePolicy = reinterpret_cast<const char*>(ULONG_PTR{1});
    EXPECT_FALSE(
        platform::CertVerifyCertificateChainPolicy(basePolicy, chain.get(), &parameters, &status));
}

class CertGetCertificateChain : public ChainTest {};

TEST_F(CertGetCertificateChain, elementsGoFromTheLeafToItsRoot) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &between), {&between});
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    EXPECT_EQ(chain->cChain, 1U);
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"between", L"root"}));
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
}

TEST_F(CertGetCertificateChain, firstElementIsTheCertificateThatWasGiven) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    EXPECT_EQ(chainOf(leaf.get(), serverUsage)->rgpChain[0]->rgpElement[0]->pCertContext,
              leaf.get());
}

TEST_F(CertGetCertificateChain, partialChainEndsAtTheLastOnePresent) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &stranger));
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    EXPECT_EQ(elementsOf(chain), Names{L"leaf"});
    EXPECT_TRUE(chain->TrustStatus.dwErrorStatus & CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(CertGetCertificateChain, everyFaultStandsAtItsElement) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    const HeldContext leaf = contextOf(issue(recipe, &stranger), {&stranger});
    const HeldChain chain = chainOf(leaf.get(), clientUsage);
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
    EXPECT_EQ(simple.rgpElement[0]->TrustStatus.dwErrorStatus,
              CERT_TRUST_IS_NOT_TIME_VALID | CERT_TRUST_IS_NOT_VALID_FOR_USAGE);
    EXPECT_EQ(simple.rgpElement[1]->TrustStatus.dwErrorStatus, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(CertGetCertificateChain, chainOutlivesTheCertificateAndTheStore) {
    install("leaf.pem", issue(serverNamed("leaf"), &between), {&between});
    HeldChain chain;
    {
        OpenedStore store;
        HeldContext leaf = firstIn(store.get());
        chain = chainOf(leaf.get(), serverUsage);
        leaf = HeldContext();
        EXPECT_FALSE(store.close()); // the chain still holds the leaf
    }
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"between", L"root"}));
}

TEST_F(CertGetCertificateChain, chainThatWasReleasedHoldsNothingOfTheStore) {
    install("leaf.pem", issue(serverNamed("leaf"), &root));
    OpenedStore store;
    chainOf(firstIn(store.get()).get(), serverUsage);
    EXPECT_TRUE(store.close());
}

TEST_F(CertGetCertificateChain, givenTimeIsTheTimeOfTheCheck) {
    constexpr FILETIME longAgo{0, 27'000'000}; // in the year 1968
    FILETIME time = longAgo;
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &time)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(CertGetCertificateChain, certificateIsGoodFromItsFirstSecondOn) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    FILETIME first = leaf.get()->pCertInfo->NotBefore;
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &first)), trusted);
    constexpr DWORD twoSeconds = 20'000'000;
    first.dwHighDateTime -= first.dwLowDateTime < twoSeconds ? 1 : 0;
    first.dwLowDateTime -= twoSeconds;
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &first)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(CertGetCertificateChain, noCertificateGivesNoChain) {
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    CERT_CHAIN_PARA parameters;
    EXPECT_FALSE(platform::CertGetCertificateChain(nullptr, nullptr, nullptr, nullptr, &parameters,
                                                   0, nullptr, &chain));
    EXPECT_EQ(chain, nullptr);
}

TEST_F(CertGetCertificateChain, freeingNullIsHarmless) {
    platform::CertFreeCertificateChain(nullptr);
    SUCCEED();
}

TEST_F(CertGetCertificateChain, newAnchorCountsAtOnce) {
    const Issued leaf = issue(serverNamed("leaf"), &stranger);
    EXPECT_EQ(judge(leaf, {&stranger}).error, CERT_E_UNTRUSTEDROOT);
    write("root/stranger.pem", pem(stranger));
    EXPECT_EQ(judge(leaf, {&stranger}), trusted);
    remove("root/stranger.pem");
    EXPECT_EQ(judge(leaf, {&stranger}).error, CERT_E_UNTRUSTEDROOT);
}

TEST_F(CertGetCertificateChain, badChainLeavesTheErrorQueueAlone) {
    ERR_clear_error();
    judge(withBrokenSignature(issue(serverNamed("leaf"), &root)));
    EXPECT_EQ(ERR_get_error(), 0UL);
}

} // namespace
} // namespace VexaSsl::testing
