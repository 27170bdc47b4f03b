// Chains of what lies in files, and at the strength that TLS asks for.
#include "contract/certificates/ChainFixture.h"
#include "portable/CertificateFolderTest.h"

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

TEST_F(CertGetCertificateChain, badChainLeavesTheErrorQueueAlone) {
    ERR_clear_error();
    judge(withBrokenSignature(issue(serverNamed("leaf"), &root)));
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

} // namespace
} // namespace VexaSsl::test
