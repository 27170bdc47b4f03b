#include "certificates/CertificateStore.h"

#include "certificates/KeyPurpose.h"
#include "certificates/LogTexts.h"
#include "frame/ConnectionError.h"
#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "platform/contract/WindowsBase.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace VexaSsl {

namespace {

// The machine's store for every user, opened for reading, never created.
constexpr DWORD openingFlags = CERT_SYSTEM_STORE_LOCAL_MACHINE // not the user's own
                               | CERT_STORE_READONLY_FLAG      // for reading
                               | CERT_STORE_OPEN_EXISTING_FLAG;
static_assert(openingFlags == 0x2C000);

constexpr DWORD anyEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
static_assert(anyEncoding == 0x10001);

const HCERTSTORE notOpen = reinterpret_cast<HCERTSTORE>(~ULONG_PTR{0});

HCERTSTORE openPersonalStore() {
    return platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, openingFlags, L"MY");
}

} // namespace

CertificateStore::CertificateStore(ILog& log) : log(log), handle(notOpen), inspector(log) {
    log.log(Severity::Debug, L"Opening Cert Store");
    const HCERTSTORE opened = openPersonalStore();
    if (opened == nullptr) {
        const DWORD error = platform::GetLastError();
        logSystemError(log, LogTexts::storeOpening, error);
        throw ConnectionError(
            {error == ERROR_NOT_ENOUGH_MEMORY ? FailureCause::Memory : FailureCause::OwnCertificate,
             static_cast<std::int32_t>(error), "cannot open the certificate store"},
            std::to_string(error));
    }
    handle = opened;
}

CertificateStore::~CertificateStore() {
    try {
        close();
    } catch (...) {
        // The store is closed by then; only a log line is lost.
    }
}

void CertificateStore::close() {
    const BOOL closed = platform::CertCloseStore(handle, CERT_CLOSE_STORE_CHECK_FLAG);
    log.log(Severity::Debug, L"Closed Cert Store");
    if (closed) {
        return;
    }
    // Read only now: a log that makes system calls may have replaced the number.
    // Compatibility: late-error-of-closing
    const DWORD error = platform::GetLastError();
    if (error == static_cast<DWORD>(CRYPT_E_PENDING_CLOSE)) {
        log.log(Severity::Warning, L"On calling CertCloseStore, not all certs or contexts were "
                                   L"previously freed. Memory has been leaked.");
    } else {
        logSystemError(log, L"CertCloseStore", error);
    }
}

CertificateHandleList CertificateStore::findByName(const std::wstring& name) const {
    CertificateHandleList found = findAll(CERT_FIND_SUBJECT_STR_W, name.c_str());
    if (found.empty()) {
        reportNothingFound(L"CertFindCertificateInStore (by name)", L"Name", name);
    }
    return found;
}

CertificateHandleList CertificateStore::findByEnhancedKeyUsage(bool forServer) const {
    KeyPurpose purpose(forServer);
    const CERT_ENHKEY_USAGE usage = purpose.usage();
    CertificateHandleList found = findAll(CERT_FIND_ENHKEY_USAGE, &usage);
    if (found.empty()) {
        reportNothingFound(L"CertFindCertificateInStore (by extended key usage)", L"EKU",
                           forServer ? L"Server Authentication" : L"Client Authentication");
    }
    return found;
}

CertificateHandleList CertificateStore::findAll(DWORD findType, const void* parameter) const {
    CertificateHandleList found;
    CertificateHandle hit;
    for (;;) {
        // The call releases the previous hit.
        hit = CertificateHandle(platform::CertFindCertificateInStore(
            handle, anyEncoding, 0, findType, parameter, hit.take()));
        if (!hit) {
            return found;
        }
        CertificateHandle kept(platform::CertDuplicateCertificateContext(hit.get()));
        found.push_back(std::move(kept));
    }
}

// The platform reports a miss and a failure alike. Compatibility: miss-is-an-error
void CertificateStore::reportNothingFound(const wchar_t* search, std::wstring_view kindOfTerm,
                                          std::wstring_view term) const {
    const DWORD error = platform::GetLastError(); // before memory for the texts is allocated
    logSystemError(log, search, error);
    log.log(Severity::Info, joined({kindOfTerm, L" searched for: [", term, L"]"}));
}

void CertificateStore::enumerateCertificates() const {
    CertificateHandle current;
    for (;;) {
        // The call releases the previous certificate.
        current = CertificateHandle(platform::CertEnumCertificatesInStore(handle, current.take()));
        if (!current) {
            break;
        }
        log.log(Severity::Debug, L"Got a new certificate");
        inspector.reportAllNames(current.get());
        static_cast<void>(inspector.verifyCertificateChain(current.get(), true));
        static_cast<void>(inspector.verifyCertificateChain(current.get(), false));
    }
    reportEndOfEnumeration();
}

// The platform ends every enumeration with an error number; CRYPT_E_NOT_FOUND is the normal one.
void CertificateStore::reportEndOfEnumeration() const {
    log.log(Severity::Debug, L"No more certificates to enumerate");
    const DWORD error = platform::GetLastError();
    if (error != static_cast<DWORD>(CRYPT_E_NOT_FOUND)) {
        logSystemError(log, L"CertEnumCertificatesInStore", error);
    }
}

CertificateHandle CertificateStore::selectCertificateFromUI() const {
    CertificateHandle picked(platform::CryptUIDlgSelectCertificateFromStore(
        handle, nullptr, nullptr, nullptr, 0, 0, nullptr));
    if (picked) {
        inspector.reportAllNames(picked.get());
    } else {
        log.log(Severity::Warning,
                L"CryptUIDlgSelectCertificateFromStore returned with no selected certificate");
    }
    return picked;
}

} // namespace VexaSsl
