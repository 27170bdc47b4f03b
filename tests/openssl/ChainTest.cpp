// Chains of certificates in files, the strength that TLS requires, and null arguments.
#include "contract/stores/ChainFixture.h"
#include "openssl/CertificateFolderTest.h"

#include <openssl/err.h>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

class ChainPolicy : public CertificateFolderTest {
protected:
    ChainPolicy() { write("root/root.pem", pem(root)); }

    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
};
using CertGetCertificateChain = ChainPolicy;

TEST_F(ChainPolicy, helpersOfTheFileCompleteTheChain) {
    install("leaf.pem", issue(serverNamed("leaf"), &between), {&between});
    const OpenedStore store;
    EXPECT_EQ(verdictOn(chainOf(firstIn(store.get()).get(), serverUsage)), trusted);
}

TEST_F(ChainPolicy, certificatesOfOtherFilesDoNotCompleteTheChain) {
    install("a.pem", issue(serverNamed("linked"), &between), {&between});
    install("b.pem", issue(serverNamed("alone"), &between));
    const OpenedStore store;
    const HeldContext alone = findSubject(store.get(), L"alone");
    EXPECT_EQ(verdictOn(chainOf(alone.get(), serverUsage)), (Verdict{CERT_E_CHAINING, 0}));
}

TEST_F(ChainPolicy, keyTooWeakForTlsIsRefused) {
    Recipe weak = serverNamed("leaf");
    weak.rsaBits = 1024;
    EXPECT_EQ(verdictOf(issue(weak, &root)), (Verdict{TRUST_E_CERT_SIGNATURE, 0}));
    weak.rsaBits = 2048;
    EXPECT_EQ(verdictOf(issue(weak, &root)), trusted);
}

TEST_F(ChainPolicy, authorityWithKeyTooWeakForTlsIsAtFault) {
    Recipe weak = authorityNamed("weak");
    weak.rsaBits = 1024;
    const Issued authority = issue(weak, &root);
    EXPECT_EQ(verdictOf(issue(serverNamed("leaf"), &authority), {&authority}),
              (Verdict{TRUST_E_CERT_SIGNATURE, 1}));
}

TEST_F(CertGetCertificateChain, badChainLeavesTheErrorQueueAlone) {
    ERR_clear_error();
    verdictOf(withBrokenSignature(issue(serverNamed("leaf"), &root)));
    EXPECT_EQ(ERR_get_error(), 0UL);
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

TEST_F(ChainPolicy, nullChainIsRefused) {
    CERT_CHAIN_POLICY_PARA parameters{};
    CERT_CHAIN_POLICY_STATUS status{};
    EXPECT_FALSE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, nullptr,
                                                            &parameters, &status));
    EXPECT_NE(platform::GetLastError(), 0U);
    EXPECT_EQ(status.dwError, 0U);
}

TEST_F(ChainPolicy, otherPolicyIsRefused) {
    const HeldChain chain = chainOf(contextOf(root).get(), "");
    CERT_CHAIN_POLICY_PARA parameters{};
    CERT_CHAIN_POLICY_STATUS status{};
    const char* const basePolicy = reinterpret_cast<const char*>(ULONG_PTR{1});
    EXPECT_FALSE(
        platform::CertVerifyCertificateChainPolicy(basePolicy, chain.get(), &parameters, &status));
}

TEST_F(CertGetCertificateChain, nullCertificateGivesNoChain) {
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    CERT_CHAIN_PARA parameters{};
    EXPECT_FALSE(platform::CertGetCertificateChain(nullptr, nullptr, nullptr, nullptr, &parameters,
                                                   0, nullptr, &chain));
    EXPECT_EQ(chain, nullptr);
}

} // namespace
} // namespace VexaSsl::test
