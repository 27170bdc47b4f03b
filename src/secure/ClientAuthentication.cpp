#include "secure/ClientAuthentication.h"
#include "secure/LogTexts.h"

#include "certificates/CertificateInspector.h"
#include "certificates/ChainExamination.h"
#include "config/OptionChecks.h"
#include "frame/ConnectionError.h"
#include "frame/ErrorText.h"
#include "secure/SecureSocketRecord.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace VexaSsl {

namespace {

// "[one], [two]"
std::wstring listInBrackets(const std::vector<std::wstring>& names) {
    std::wstring list;
    for (const std::wstring& name : names) {
        list += (list.empty() ? L"[" : L", [") + name + L"]";
    }
    return list;
}

[[noreturn]] void reject(ILog& log, const wchar_t* line, const FailureReason& reason) {
    log.log(Severity::Error, line);
    throw ConnectionError(reason, reason.text);
}

// Returns the cause None if the certificate is trusted. The chain is released before a line is
// written.
FailureReason reasonOfDistrust(ILog& log, PCCERT_CONTEXT certificate) {
    const ChainExamination chain(log, certificate, false);
    if (chain.isTrusted()) {
        return {};
    }
    const DWORD error = chain.wasJudged() ? chain.status().dwError : 0;
    return {error == static_cast<DWORD>(CERT_E_EXPIRED) ? FailureCause::Expired
                                                        : FailureCause::PeerNotTrusted,
            static_cast<std::int32_t>(error), "client authentication failed: cert not trusted"};
}

} // namespace

void authenticateClient(SecureSocketRecord& record, CtxtHandle& context) {
    if (!record.options.requireClientAuthentication) {
        return;
    }
    const CertificateHandle certificate = fetchRemoteCertificate(record, context);
    if (!certificate) {
        reject(record.log, LogTexts::noClientCertificate,
               {FailureCause::PeerNotTrusted, 0,
                "client authentication failed: can't get client cert"});
    }
    const FailureReason distrust = reasonOfDistrust(record.log, certificate.get());
    if (distrust.cause != FailureCause::None) {
        reject(record.log, LogTexts::untrustedClient, distrust);
    }
    if (isAcceptableClientCertificate(record, certificate)) {
        return;
    }
    CertificateInspector(record.log).reportAllNames(certificate.get());
    record.log.log(Severity::Info, L"The names we would accept are: " +
                                       listInBrackets(record.options.acceptableClientNames));
    reject(record.log, LogTexts::unacceptableClient,
           {FailureCause::NameMismatch, 0, "client authentication failed: cert not acceptable"});
}

CertificateHandle fetchRemoteCertificate(SecureSocketRecord& record, CtxtHandle& context) {
    PCCERT_CONTEXT certificate = nullptr;
    const SECURITY_STATUS status =
        platform::QueryContextAttributesW(&context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate);
    // Owned before a line is written; used whatever the status.
    CertificateHandle owner(certificate);
    if (status == SEC_E_NO_CREDENTIALS) {
        record.log.log(Severity::Warning,
                       L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                       L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent");
    } else if (status != SEC_E_OK) {
        logSystemError(record.log, L"QueryContextAttributes", static_cast<DWORD>(status));
    }
    return owner;
}

bool isAcceptableClientCertificate(const SecureSocketRecord& record,
                                   const CertificateHandle& certificate) {
    const SecureChannelOptions& options = record.options;
    if (options.anyClientAcceptable) {
        return true;
    }
    const std::vector<std::wstring> names =
        CertificateInspector(record.log).getAllNames(certificate.get());
    return std::any_of(names.begin(), names.end(), [&](const std::wstring& name) {
        return std::any_of(
            options.acceptableClientNames.begin(), options.acceptableClientNames.end(),
            [&](const std::wstring& acceptable) { return sameWord(name, acceptable); });
    });
}

} // namespace VexaSsl
