#include "platform/openssl/stores/Chain.h"

#include "platform/contract/CryptoApi.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace VexaSsl::openssl {

// A fault whose depth is beyond the capacity is recorded in the last place, never dropped.
void ChainFaults::add(int depth, DWORD bits) noexcept {
    const auto place = static_cast<std::size_t>(std::max(depth, 0));
    bitsAt[std::min(place, capacity - 1)] |= bits;
}

Chain::Chain(PCCERT_CONTEXT leaf, const std::vector<CertificatePointer>& others,
             const ChainFaults& faults) {
    // elementList points to the elements, so they must not move; the contexts must not leak when an
    // allocation fails.
    elements.reserve(others.size() + 1);
    elementList.reserve(others.size() + 1);
    std::vector<std::unique_ptr<Context>> contexts;
    contexts.reserve(others.size());
    for (const CertificatePointer& other : others) {
        contexts.push_back(std::make_unique<Context>(other, nullptr, 0));
    }

    addElement(platform::CertDuplicateCertificateContext(leaf), faults.at(0));
    for (std::size_t i = 0; i < contexts.size(); ++i) {
        addElement(contexts[i].release(), faults.at(i + 1));
    }
    for (std::size_t i = elements.size(); i < ChainFaults::capacity; ++i) {
        elements.back().TrustStatus.dwErrorStatus |= faults.at(i);
    }

    for (const CERT_CHAIN_ELEMENT& element : elements) {
        simpleChain.TrustStatus.dwErrorStatus |= element.TrustStatus.dwErrorStatus;
    }
    simpleChain.cbSize = sizeof simpleChain;
    simpleChain.cElement = static_cast<DWORD>(elementList.size());
    simpleChain.rgpElement = elementList.data();
    cbSize = sizeof(CERT_CHAIN_CONTEXT);
    TrustStatus = simpleChain.TrustStatus;
    cChain = 1;
    rgpChain = &chainList;
}

Chain::~Chain() {
    for (const CERT_CHAIN_ELEMENT& element : elements) {
        platform::CertFreeCertificateContext(element.pCertContext);
    }
}

void Chain::addElement(PCCERT_CONTEXT certificate, DWORD faults) {
    elements.push_back({sizeof(CERT_CHAIN_ELEMENT), certificate, {faults, 0}});
    elementList.push_back(&elements.back());
}

} // namespace VexaSsl::openssl
