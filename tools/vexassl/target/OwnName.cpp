#include "target/OwnName.h"

#include "certificates/CertificateFacts.h"
#include "certificates/CertificateHandle.h"
#include "certificates/CertificateStore.h"
#include "common/ExitStatus.h"
#include "common/LogCollector.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Values = ConfigurationDefinition::Values;

bool isWord(const std::wstring& name) {
    return sameWord(name, Values::Any) || sameWord(name, Values::None) ||
           sameWord(name, Values::SelectCertificateFromUI);
}

// The values of a subject "CN=one, O=two", and before them the name that is shown.
std::vector<std::wstring> candidates(const CertificateFacts& facts) {
    std::vector<std::wstring> names = {facts.name};
    const std::wstring& subject = facts.subject;
    for (std::size_t at = 0; (at = subject.find(L'=', at)) != std::wstring::npos;) {
        const std::size_t end = subject.find(L',', ++at);
        names.push_back(subject.substr(at, end == std::wstring::npos ? end : end - at));
    }
    return names;
}

} // namespace

std::wstring ownCertificateName() {
    LogCollector log;
    const CertificateStore store(log);
    const CertificateHandle certificate(
        platform::CertEnumCertificatesInStore(store.handle, nullptr));
    if (certificate) {
        for (const std::wstring& name : candidates(factsOf(certificate.get()))) {
            if (!name.empty() && !isWord(name) && !store.findByName(name).empty()) {
                return name;
            }
        }
    }
    throw Failure(ExitStatus::OwnCertificate,
                  "the certificate has no name in its subject to find it by");
}

} // namespace VexaSsl::tool
