// The chain of one certificate, from itself to its root as far as it was found, with the faults of
// each element. Immutable once built; owns everything that its Windows shape points to.
#pragma once

#include "platform/openssl/stores/Store.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::openssl {

struct ChainRequest {
    std::vector<std::string> usages;   // object identifiers that must all be allowed
    std::optional<std::time_t> time;   // now if there is none
    std::shared_ptr<Store> additional; // may be null
};

// The CERT_TRUST_ bits of each element, leaf first.
class ChainFaults {
public:
    void add(int depth, DWORD bits) noexcept;
    DWORD at(std::size_t depth) const noexcept { return bitsAt[std::min(depth, capacity - 1)]; }
    static constexpr std::size_t capacity = 128; // above OpenSSL's own limit of depth

private:
    std::array<DWORD, capacity> bitsAt{};
};

class Chain : public CERT_CHAIN_CONTEXT {
public:
    // Takes a reference to leaf. others: the elements behind it.
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

// Builds the chain against the trust anchors, linked by the certificates that travel with the leaf.
// A bad chain is a chain. Throws std::bad_alloc, and OpenSslFailure when the verification itself
// failed.
std::unique_ptr<Chain> buildChain(PCCERT_CONTEXT leaf, const ChainRequest& request);

} // namespace VexaSsl::openssl
