// Chains, the verdicts on them, a trusted authority and one that isn't trusted.
#pragma once

#include "contract/stores/StoreFixture.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace VexaSsl::test {

struct FreeChain {
    void operator()(PCCERT_CHAIN_CONTEXT chain) const { platform::CertFreeCertificateChain(chain); }
};
using HeldChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain>;

struct Verdict {
    // Some systems define the codes with a signed type.
    constexpr Verdict(std::int64_t code, LONG at) : error(static_cast<DWORD>(code)), element(at) {}

    DWORD error;
    LONG element;

    bool operator==(const Verdict&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
        return out << std::hex << verdict.error << " at " << std::dec << verdict.element;
    }
};
inline constexpr Verdict trusted{0, -1};

inline HeldChain chainOf(PCCERT_CONTEXT certificate, std::string usage, FILETIME* time = nullptr,
                         HCERTSTORE additional = nullptr) {
    char* identifiers[] = {usage.data()};
    CERT_CHAIN_PARA parameters{};
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage = {usage.empty() ? 0U : 1U, identifiers};
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    EXPECT_TRUE(platform::CertGetCertificateChain(nullptr, certificate, time, additional,
                                                  &parameters, 0, nullptr, &chain));
    return HeldChain(chain);
}

inline Verdict verdictOn(const HeldChain& chain,
                         SSL_EXTRA_CERT_CHAIN_POLICY_PARA* extra = nullptr) {
    CERT_CHAIN_POLICY_PARA parameters{16, 0, extra};
    CERT_CHAIN_POLICY_STATUS status{24, 77, 77, 77, nullptr};
    EXPECT_TRUE(platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.get(),
                                                           &parameters, &status));
    EXPECT_EQ(status.lChainIndex, status.dwError == 0 ? -1 : 0);
    return {status.dwError, status.lElementIndex};
}

inline std::vector<std::wstring> elementsOf(const HeldChain& chain) {
    std::vector<std::wstring> names;
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
    for (DWORD i = 0; i < simple.cElement; ++i) {
        names.push_back(displayName(simple.rgpElement[i]->pCertContext));
    }
    return names;
}

// The verdict on a chain that is built from the certificates sent, as in a handshake.
inline Verdict verdictOf(const Issued& leaf, const std::vector<const Issued*>& sent = {},
                         const char* usage = serverUsage) {
    const OpenedStore store(openMemoryStore());
    const HeldContext certificate = addTo(store.get(), der(leaf));
    for (const Issued* other : sent) {
        addTo(store.get(), der(*other));
    }
    return verdictOn(chainOf(certificate.get(), usage, nullptr, store.get()));
}

class ChainTest : public StoreTest {
protected:
    ChainTest() { trust("root", root); }

    const Issued root = issue(authorityNamed("root"));
    const Issued between = issue(authorityNamed("between"), &root);
    const Issued stranger = issue(authorityNamed("stranger"));
};

} // namespace VexaSsl::test
