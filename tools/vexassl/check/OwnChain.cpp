#include "check/OwnChain.h"

#include "explain/ChainExplanation.h"

#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

std::string sentence(const Fault& fault) {
    return fault.cause + "; " + fault.remedy;
}

bool isOfValidity(const Fault& fault) {
    return fault.identifier == "expired" || fault.identifier == "not-yet-valid";
}

} // namespace

std::vector<std::string> reasonsOfDistrust(PCCERT_CONTEXT certificate, bool forServer) {
    CertificateChain chain;
    chain.leaf = CertificateHandle(platform::CertDuplicateCertificateContext(certificate));
    chain.certificates.emplace_back(platform::CertDuplicateCertificateContext(certificate));
    ChainQuestion question;
    question.purposes = {forServer};
    const ChainExplanation explanation = explainChain(chain, question);
    const PurposeVerdict& verdict = explanation.purposes.front();
    std::vector<std::string> reasons;
    for (const ElementVerdict& element : verdict.elements) {
        const bool isLeaf = &element == &verdict.elements.front();
        const CertificateFacts& facts = explanation.certificates[element.certificate].facts;
        for (const Fault& fault : element.faults) {
            if (!isLeaf) {
                reasons.push_back("its issuer [" + shownTitle(facts) + "]: " + sentence(fault));
            } else if (!isOfValidity(fault)) {
                reasons.push_back(sentence(fault));
            }
        }
    }
    for (const Fault& fault : verdict.faults) {
        reasons.push_back(sentence(fault));
    }
    return reasons;
}

} // namespace VexaSsl::tool
