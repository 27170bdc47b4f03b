#include "explain/ChainExplanation.h"

#include "certificates/ChainExamination.h"
#include "common/Text.h"
#include "config/OptionChecks.h"
#include "frame/ErrorText.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

// Makes one explanation. Holds references to the certificates that it has seen, to recognise them.
class Explainer {
public:
    Explainer(const CertificateChain& chain, const ChainQuestion& question)
        : chain(chain), question(question) {
        explanation.at = question.at.value_or(currentTime());
        for (const CertificateHandle& certificate : chain.certificates) {
            know(certificate.get(), true);
        }
    }

    ChainExplanation run() {
        for (const bool forServer : question.purposes) {
            explanation.purposes.push_back(explainPurpose(forServer));
        }
        return std::move(explanation);
    }

private:
    void know(PCCERT_CONTEXT certificate, bool isGiven) {
        explanation.certificates.push_back({factsOf(certificate), isGiven});
        known.emplace_back(platform::CertDuplicateCertificateContext(certificate));
    }

    // Returns the index of the certificate among the known ones; a new one is added.
    std::size_t placeOf(PCCERT_CONTEXT certificate) {
        const auto found =
            std::find_if(known.begin(), known.end(), [&](const CertificateHandle& entry) {
                return areSame(entry.get(), certificate);
            });
        const auto place = static_cast<std::size_t>(found - known.begin());
        if (found == known.end()) {
            know(certificate, false);
        }
        return place;
    }

    PurposeVerdict explainPurpose(bool forServer);
    void explainElements(const CERT_SIMPLE_CHAIN& simple, PurposeVerdict& verdict);
    void judgeName(PCCERT_CHAIN_CONTEXT judged, PurposeVerdict& verdict) const;
    NameVerdict serverNameVerdict(PCCERT_CHAIN_CONTEXT judged) const;
    NameVerdict clientNameVerdict() const;
    const CertificateFacts& leafFacts() const { return explanation.certificates[leafPlace].facts; }

    const CertificateChain& chain;
    const ChainQuestion& question;
    ChainExplanation explanation;
    CertificateHandleList known;
    std::size_t leafPlace = 0;
};

PurposeVerdict Explainer::explainPurpose(bool forServer) {
    LogCollector log;
    FILETIME time = fileTimeOf(explanation.at);
    // A handshake searches the certificates that a server sent, too. For clients and for our own
    // certificates the library leaves the search to the system.
    const HCERTSTORE helpers = forServer ? chain.cameAlong : nullptr;
    const ChainExamination examination(log, chain.leaf.get(), forServer,
                                       question.at ? &time : nullptr, helpers);
    PurposeVerdict verdict;
    verdict.forServer = forServer;
    verdict.trusted = examination.isTrusted();
    verdict.status = examination.status().dwError;
    verdict.statusText = printableText(systemErrorText(verdict.status));
    verdict.lines = log.take();
    leafPlace = placeOf(chain.leaf.get());
    const PCCERT_CHAIN_CONTEXT built = examination.chain();
    if (built != nullptr && built->cChain != 0) {
        explainElements(*built->rgpChain[0], verdict);
        judgeName(built, verdict);
    }
    const bool isExplained =
        std::any_of(verdict.elements.begin(), verdict.elements.end(),
                    [](const ElementVerdict& element) { return !element.faults.empty(); });
    if (!verdict.trusted && !isExplained) {
        verdict.faults.push_back(otherFault(verdict.status));
    }
    return verdict;
}

// Some faults are recorded on the chain only; they belong to its end, where it is incomplete.
DWORD bitsOfNoElement(const CERT_SIMPLE_CHAIN& simple) {
    DWORD bits = simple.TrustStatus.dwErrorStatus;
    for (DWORD i = 0; i < simple.cElement; ++i) {
        bits &= ~simple.rgpElement[i]->TrustStatus.dwErrorStatus;
    }
    return bits;
}

void Explainer::explainElements(const CERT_SIMPLE_CHAIN& simple, PurposeVerdict& verdict) {
    std::vector<std::size_t> places;
    for (DWORD i = 0; i < simple.cElement; ++i) {
        places.push_back(placeOf(simple.rgpElement[i]->pCertContext));
    }
    for (std::size_t i = 0; i < places.size(); ++i) {
        const bool isLast = i + 1 == places.size();
        const DWORD bits = simple.rgpElement[i]->TrustStatus.dwErrorStatus |
                           (isLast ? bitsOfNoElement(simple) : 0);
        const CertificateFacts* issued =
            i == 0 ? nullptr : &explanation.certificates[places[i - 1]].facts;
        verdict.elements.push_back(
            {places[i], faultsOf({explanation.certificates[places[i]].facts, issued, isLast, bits,
                                  verdict.forServer, explanation.at})});
    }
}

void Explainer::judgeName(PCCERT_CHAIN_CONTEXT judged, PurposeVerdict& verdict) const {
    if (question.name.empty()) {
        return;
    }
    verdict.name = verdict.forServer ? serverNameVerdict(judged) : clientNameVerdict();
    if (verdict.name == NameVerdict::NotBorne) {
        verdict.nameFault = wrongNameFault(leafFacts(), question.name);
    } else if (verdict.name == NameVerdict::NotPermitted) {
        verdict.nameFault = forbiddenNameFault(question.name);
    }
}

// The certificate's own names are checked with the chain.
bool hasForbiddenNames(const CERT_SIMPLE_CHAIN& simple) {
    return (simple.TrustStatus.dwErrorStatus & CERT_TRUST_INVALID_NAME_CONSTRAINTS) != 0;
}

// Checked as in a client's handshake, whatever else is wrong with the chain.
NameVerdict Explainer::serverNameVerdict(PCCERT_CHAIN_CONTEXT judged) const {
    std::wstring name = wideName(question.name);
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA extra{};
    extra.cbSize = sizeof extra;
    extra.dwAuthType = AUTHTYPE_SERVER;
    extra.fdwChecks = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_WRONG_USAGE |
                      SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
    extra.pwszServerName = name.data();
    CERT_CHAIN_POLICY_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    parameters.pvExtraPolicyPara = &extra;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof status;
    if (!platform::CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, judged, &parameters,
                                                    &status)) {
        return NameVerdict::NotJudged;
    }
    if (status.dwError == static_cast<DWORD>(CERT_E_CN_NO_MATCH)) {
        return NameVerdict::NotBorne;
    }
    if (status.dwError == static_cast<DWORD>(CERT_E_INVALID_NAME) &&
        !hasForbiddenNames(*judged->rgpChain[0])) {
        return NameVerdict::NotPermitted;
    }
    return status.dwError == 0 ? NameVerdict::Borne : NameVerdict::NotJudged;
}

// Whole names in any letter case, as a server compares a client's names with its list.
NameVerdict Explainer::clientNameVerdict() const {
    const std::wstring wanted = widenedBytes(question.name);
    const std::vector<std::wstring>& names = leafFacts().names;
    const bool isThere = std::any_of(names.begin(), names.end(), [&](const std::wstring& name) {
        return sameWord(name, wanted);
    });
    return isThere ? NameVerdict::Borne : NameVerdict::NotBorne;
}

} // namespace

bool ChainExplanation::isUnused(std::size_t certificate) const {
    return std::none_of(purposes.begin(), purposes.end(), [&](const PurposeVerdict& purpose) {
        return std::any_of(
            purpose.elements.begin(), purpose.elements.end(),
            [&](const ElementVerdict& element) { return element.certificate == certificate; });
    });
}

ChainExplanation explainChain(const CertificateChain& chain, const ChainQuestion& question) {
    return Explainer(chain, question).run();
}

} // namespace VexaSsl::tool
