// The context of a peer's certificate.
#include "openssl/HelperNames.h"

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

class PeerContext : public ::testing::Test {
protected:
    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
    const Issued leaf = issue(serverNamed("leaf"), &between);

    HeldContext contextWith(const std::vector<const Issued*>& sent) const {
        const openssl::BorrowingStack chain(sk_X509_new_null());
        for (const Issued* certificate : sent) {
            sk_X509_push(chain.get(), certificate->certificate.get());
        }
        return openssl::newConnectionContext(leaf.certificate.get(), chain.get());
    }
};

TEST_F(PeerContext, storeHoldsTheChainAsSent) {
    const HeldContext peer = contextWith({&leaf, &between, &root});
    EXPECT_EQ(namesIn(peer.get()->hCertStore), (Names{L"leaf", L"between", L"root"}));
    EXPECT_EQ(displayName(peer.get()), L"leaf");
}

TEST_F(PeerContext, leafMissingFromTheChainComesFirst) {
    const HeldContext peer = contextWith({&between, &root});
    EXPECT_EQ(namesIn(peer.get()->hCertStore), (Names{L"leaf", L"between", L"root"}));
}

TEST_F(PeerContext, helpersExcludeTheLeaf) {
    EXPECT_EQ(namesOfHelpers(contextWith({&leaf, &between, &root}).get()),
              (Names{L"between", L"root"}));
}

TEST_F(PeerContext, storeHoldsTheLeafWithoutChain) {
    const HeldContext peer = openssl::newConnectionContext(leaf.certificate.get(), nullptr);
    EXPECT_EQ(namesIn(peer.get()->hCertStore), Names{L"leaf"});
}

TEST_F(PeerContext, peerContextHasNoKey) {
    const HeldContext peer = contextWith({&leaf});
    EXPECT_EQ(openssl::keyStateOf(peer.get()), openssl::KeyState::absent);
    EXPECT_EQ(openssl::privateKeyOf(peer.get()), nullptr);
}

TEST_F(PeerContext, enumerationContinuesAfterTheLeaf) {
    HeldContext peer = contextWith({&between, &leaf, &root});
    const HeldContext kept = platform::CertDuplicateCertificateContext(peer.get());
    const HeldContext next =
        platform::CertEnumCertificatesInStore(kept.get()->hCertStore, peer.release());
    EXPECT_EQ(displayName(next.get()), L"root");
}

TEST_F(PeerContext, storeClosesWithItsLastContext) {
    HeldContext peer = contextWith({&leaf, &between});
    const HCERTSTORE store = peer.get()->hCertStore;
    HeldContext second = nextIn(store, peer.release());
    EXPECT_EQ(namesIn(store), (Names{L"leaf", L"between"}));
    second = HeldContext();
    EXPECT_FALSE(platform::CertCloseStore(store, 0));
}

} // namespace
} // namespace VexaSsl::test
