#include "connect/ConnectionSummary.h"

#include "certificates/CertificateFacts.h"
#include "certificates/CertificateHandle.h"
#include "common/Text.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/SecureSocketRecord.h"
#include "secure/SecureSocketStrategy.h"
#include "strategies/LogSocketStrategy.h"

#include <array>
#include <optional>
#include <string>

namespace VexaSsl::tool {

namespace {

SecureSocketRecord* findRecord(ISocketStrategy& outermost) {
    ISocketStrategy* strategy = &outermost;
    while (auto* layer = dynamic_cast<LogSocketStrategy*>(strategy)) {
        strategy = &layer->below();
    }
    auto* secure = dynamic_cast<SecureSocketStrategy*>(strategy);
    return secure == nullptr ? nullptr : secure->securedConnection();
}

// Versions count up from SSL 3.0, which is 0x0300 on the wire.
std::string versionText(DWORD onTheWire) {
    constexpr std::array<const char*, 5> names = {"SSL 3.0", "TLS 1.0", "TLS 1.1", "TLS 1.2",
                                                  "TLS 1.3"};
    const DWORD minor = onTheWire - 0x0300;
    return minor < names.size() ? names[minor] : "TLS";
}

// If the system doesn't know the attribute, the protocol stays "TLS".
void askForSuite(CtxtHandle* context, ConnectionSummary& summary) {
    SecPkgContext_CipherInfo info{};
    info.dwVersion = SECPKGCONTEXT_CIPHERINFO_V1;
    if (platform::QueryContextAttributesW(context, SECPKG_ATTR_CIPHER_INFO, &info) == SEC_E_OK) {
        summary.protocol = versionText(info.dwProtocol);
        summary.suite = info.szCipherSuite;
    }
    summary.text = summary.protocol;
    if (!summary.suite.empty()) {
        summary.text += " with " + printableText(summary.suite);
    }
}

void askForPeer(CtxtHandle* context, ConnectionSummary& summary) {
    PCCERT_CONTEXT found = nullptr;
    if (platform::QueryContextAttributesW(context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &found) !=
        SEC_E_OK) {
        summary.text += ", peer without a certificate";
        return;
    }
    const CertificateHandle certificate(found);
    const CertificateFacts facts = factsOf(certificate.get());
    addFacts(summary.peer.emplace(), facts);
    summary.text +=
        ", peer [" + shownName(facts.subject) + "], issued by [" + shownName(facts.issuer) + "]";
}

} // namespace

std::optional<ConnectionSummary> connectionSummary(ISocketStrategy& strategy) {
    SecureSocketRecord* record = findRecord(strategy);
    if (record == nullptr) {
        return std::nullopt;
    }
    ConnectionSummary summary{.protocol = "TLS", .suite = {}, .peer = {}, .text = {}};
    askForSuite(record->securityContext.address(), summary);
    askForPeer(record->securityContext.address(), summary);
    return summary;
}

} // namespace VexaSsl::tool
