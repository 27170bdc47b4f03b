// Chains and the verdicts on them: the status and the element at fault.
#include "contract/stores/ChainFixture.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;
using ChainPolicy = ChainTest;
using CertGetCertificateChain = ChainTest;

TEST_F(ChainPolicy, leafOfATrustedRootIsTrusted) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &root)), trusted);
}

TEST_F(ChainPolicy, sentIntermediateCompletesTheChain) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &between), {&between}), trusted);
}

TEST_F(ChainPolicy, additionalStoreCompletesTheChain) {
    install("between", between);
    const OpenedStore additional;
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &between));
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, nullptr, additional.get())), trusted);
}

TEST_F(ChainPolicy, selfSignedAnchorIsTrusted) {
    Recipe recipe = serverNamed("alone");
    const Issued alone = issue(recipe);
    trust("alone", alone);
    EXPECT_EQ(verdictOf(alone), trusted);
}

TEST_F(ChainPolicy, missingIssuerIsReportedAtTheLastElement) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &between)), (Verdict{CERT_E_CHAINING, 0}));
    const Issued below = issue(authorityNamed("below"), &between);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &below), {&below}),
              (Verdict{CERT_E_CHAINING, 1}));
}

TEST_F(ChainPolicy, selfSignedLeafIsAnUntrustedRoot) {
    EXPECT_EQ(verdictOf(issue(serverNamed("alone"))), (Verdict{CERT_E_UNTRUSTEDROOT, 0}));
}

TEST_F(ChainPolicy, sentUntrustedRootIsAtFault) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &stranger), {&stranger}),
              (Verdict{CERT_E_UNTRUSTEDROOT, 1}));
}

TEST_F(ChainPolicy, expiredLeafIsRefused) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(verdictOf(issue(recipe, &root)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, leafNotYetValidIsRefused) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = 10;
    EXPECT_EQ(verdictOf(issue(recipe, &root)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, expiredIntermediateIsAtFault) {
    Recipe recipe = authorityNamed("expired");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    const Issued expired = issue(recipe, &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &expired), {&expired}),
              (Verdict{CERT_E_EXPIRED, 1}));
}

TEST_F(ChainPolicy, usageNotListedIsWrong) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &root), {}, clientUsage),
              (Verdict{CERT_E_WRONG_USAGE, 0}));
}

TEST_F(ChainPolicy, missingExtensionAllowsEveryUsage) {
    const Issued leaf = issue(named("leaf"), &root);
    EXPECT_EQ(verdictOf(leaf, {}, clientUsage), trusted);
    EXPECT_EQ(verdictOf(leaf, {}, serverUsage), trusted);
    EXPECT_EQ(verdictOf(leaf, {}, "1.3.6.1.5.5.7.3.3"), trusted);
}

TEST_F(ChainPolicy, usageUnrelatedToTlsIsChecked) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &root), {}, "1.3.6.1.5.5.7.3.3"),
              (Verdict{CERT_E_WRONG_USAGE, 0}));
}

TEST_F(ChainPolicy, missingRequestAllowsEveryUsage) {
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &root), {}, ""), trusted);
}

TEST_F(ChainPolicy, usageExcludedByIntermediateIsItsFault) {
    Recipe recipe = authorityNamed("between");
    recipe.usages = "clientAuth";
    const Issued clientsOnly = issue(recipe, &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &clientsOnly), {&clientsOnly}),
              (Verdict{CERT_E_WRONG_USAGE, 1}));
}

TEST_F(ChainPolicy, brokenSignatureIsTheFaultOfItsCertificate) {
    EXPECT_EQ(verdictOf(withBrokenSignature(issue(serverNamed("leaf"), &root))),
              (Verdict{TRUST_E_CERT_SIGNATURE, 0}));
}

TEST_F(ChainPolicy, issuerThatIsNoAuthorityIsAtFault) {
    const Issued server = issue(serverNamed("server"), &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &server), {&server}),
              (Verdict{TRUST_E_BASIC_CONSTRAINTS, 1}));
}

TEST_F(ChainPolicy, chainBeyondThePathLengthIsRefused) {
    Recipe recipe = authorityNamed("short");
    recipe.basicConstraints = "critical,CA:TRUE,pathlen:0";
    const Issued shortOne = issue(recipe, &root);
    const Issued below = issue(authorityNamed("below"), &shortOne);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &below), {&below, &shortOne}).error,
              static_cast<DWORD>(TRUST_E_BASIC_CONSTRAINTS));
}

TEST_F(ChainPolicy, nameOutsideTheConstraintsIsRefused) {
    Recipe recipe = authorityNamed("inside only");
    recipe.permittedDnsName = "inside.test";
    const Issued insideOnly = issue(recipe, &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("www.inside.test"), &insideOnly), {&insideOnly}),
              trusted);
    EXPECT_EQ(verdictOf(issue(serverNamed("www.outside.test"), &insideOnly), {&insideOnly}).error,
              static_cast<DWORD>(CERT_E_INVALID_NAME));
}

TEST_F(ChainPolicy, unknownCriticalExtensionIsRefused) {
    Recipe recipe = serverNamed("leaf");
    recipe.criticalExtension = "1.2.3.4.5";
    EXPECT_EQ(verdictOf(issue(recipe, &root)), (Verdict{CERT_E_CRITICAL, 0}));
}

TEST_F(ChainPolicy, untrustedRootComesBeforeExpired) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(verdictOf(issue(recipe, &stranger), {&stranger}), (Verdict{CERT_E_UNTRUSTEDROOT, 1}));
}

TEST_F(ChainPolicy, missingIssuerComesBeforeExpired) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(verdictOf(issue(recipe, &stranger)), (Verdict{CERT_E_CHAINING, 0}));
}

TEST_F(ChainPolicy, expiredComesBeforeWrongUsage) {
    Recipe recipe = serverNamed("leaf");
    recipe.firstDay = -20;
    recipe.lastDay = -10;
    EXPECT_EQ(verdictOf(issue(recipe, &root), {}, clientUsage), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(ChainPolicy, impostorNamedLikeTrustedRootIsNotTrusted) {
    const Issued impostor = issue(authorityNamed("root"));
    EXPECT_NE(verdictOf(issue(serverNamed("leaf"), &impostor), {&impostor}).error, 0U);
}

TEST_F(CertGetCertificateChain, elementsRunFromLeafToRoot) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &between), {&between});
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    EXPECT_EQ(chain->cChain, 1U);
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"between", L"root"}));
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
}

TEST_F(CertGetCertificateChain, firstElementIsTheGivenCertificate) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    EXPECT_EQ(chainOf(leaf.get(), serverUsage)->rgpChain[0]->rgpElement[0]->pCertContext,
              leaf.get());
}

TEST_F(CertGetCertificateChain, partialChainEndsAtTheLastCertificateFound) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &stranger));
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    EXPECT_EQ(elementsOf(chain), Names{L"leaf"});
    EXPECT_TRUE(chain->TrustStatus.dwErrorStatus & CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(CertGetCertificateChain, everyFaultIsReportedAtItsElement) {
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

TEST_F(CertGetCertificateChain, chainOutlivesTheCertificate) {
    HeldContext leaf = contextOf(issue(serverNamed("leaf"), &between), {&between});
    const HeldChain chain = chainOf(leaf.get(), serverUsage);
    leaf = HeldContext();
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"between", L"root"}));
}

TEST_F(CertGetCertificateChain, chainHoldsTheCertificateOfTheStore) {
    install("leaf", issue(serverNamed("leaf"), &root));
    OpenedStore store;
    const HeldChain chain = chainOf(firstIn(store.get()).get(), serverUsage);
    EXPECT_FALSE(store.close());
    EXPECT_EQ(elementsOf(chain), (Names{L"leaf", L"root"}));
}

TEST_F(CertGetCertificateChain, releasedChainHoldsNothingOfTheStore) {
    install("leaf", issue(serverNamed("leaf"), &root));
    OpenedStore store;
    chainOf(firstIn(store.get()).get(), serverUsage);
    EXPECT_TRUE(store.close());
}

TEST_F(CertGetCertificateChain, chainIsCheckedAtTheGivenTime) {
    constexpr FILETIME longAgo{0, 27'000'000}; // in the year 1968
    FILETIME time = longAgo;
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &time)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(CertGetCertificateChain, certificateIsValidFromItsFirstSecond) {
    const HeldContext leaf = contextOf(issue(serverNamed("leaf"), &root));
    FILETIME first = leaf.get()->pCertInfo->NotBefore;
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &first)), trusted);
    constexpr DWORD twoSeconds = 20'000'000;
    first.dwHighDateTime -= first.dwLowDateTime < twoSeconds ? 1 : 0;
    first.dwLowDateTime -= twoSeconds;
    EXPECT_EQ(verdictOn(chainOf(leaf.get(), serverUsage, &first)), (Verdict{CERT_E_EXPIRED, 0}));
}

TEST_F(CertGetCertificateChain, freeingNullIsHarmless) {
    platform::CertFreeCertificateChain(nullptr);
    SUCCEED();
}

TEST_F(CertGetCertificateChain, newAnchorIsTrustedAtOnce) {
    const Issued leaf = issue(serverNamed("leaf"), &stranger);
    EXPECT_EQ(verdictOf(leaf, {&stranger}).error, static_cast<DWORD>(CERT_E_UNTRUSTEDROOT));
    trust("stranger", stranger);
    EXPECT_EQ(verdictOf(leaf, {&stranger}), trusted);
    distrust("stranger");
    EXPECT_EQ(verdictOf(leaf, {&stranger}).error, static_cast<DWORD>(CERT_E_UNTRUSTEDROOT));
}

} // namespace
} // namespace VexaSsl::test
