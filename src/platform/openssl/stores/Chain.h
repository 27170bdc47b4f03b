// The chain of a certificate, from itself to its root or the last issuer found, with the faults of
// each element. Immutable; owns everything that its CERT_CHAIN_CONTEXT points to.
#pragma once

#include "platform/openssl/stores/Store.h"

#include <array>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::openssl {

struct ChainRequest {
    std::vector<std::string> usages;   // object identifiers, all of which must be permitted
    std::optional<std::time_t> time;   // default: now
    std::shared_ptr<Store> additional; // more intermediates; may be null
};

// The CERT_TRUST_* bits of each element, leaf first.
class ChainFaults {
public:
    void add(int depth, DWORD bits) noexcept;
    DWORD at(std::size_t depth) const { return bitsAt.at(depth); }
    static constexpr std::size_t capacity = 128; // more than OpenSSL's default depth limit

private:
    std::array<DWORD, capacity> bitsAt{};
};

class Chain : public CERT_CHAIN_CONTEXT {
public:
    // Takes a reference to leaf. others: its issuers in order.
    Chain(PCCERT_CONTEXT leaf, const std::vector<CertificatePointer>& others,
          const ChainFaults& faults);
    ~Chain();
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

private:
    void addElement(PCCERT_CONTEXT certificate, DWORD faults);

    std::vector<CERT_CHAIN_ELEMENT> elements;
    std::vector<CERT_CHAIN_ELEMENT*> elementList;
    CERT_SIMPLE_CHAIN simpleChain;
    CERT_SIMPLE_CHAIN* chainList = &simpleChain;
};

// Builds the chain from the leaf's extra certificates and the trust anchors. Returns a chain also
// if it is invalid. Throws std::bad_alloc, and OpenSslFailure when OpenSSL couldn't run the
// verification.
std::unique_ptr<Chain> buildChain(PCCERT_CONTEXT leaf, const ChainRequest& request);

} // namespace VexaSsl::openssl
