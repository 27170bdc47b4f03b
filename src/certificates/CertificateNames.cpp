// Also the part of CertificateInspector that reads names.
#include "certificates/CertificateNames.h"

#include "certificates/CertificateInspector.h"

#include <algorithm>
#include <string>
#include <vector>

namespace VexaSsl {

namespace {

// What the platform returns when it finds no name: the size of the terminator.
constexpr DWORD onlyTheTerminator = 1;

// Returns the number of units that the names need, including terminators.
DWORD sizeOfNames(PCCERT_CONTEXT certificate, DWORD type, DWORD flags) {
    DWORD textForm = CERT_SIMPLE_NAME_STR | CERT_NAME_STR_NO_QUOTING_FLAG;
    return platform::CertGetNameStringW(certificate, type, flags, &textForm, nullptr, 0);
}

DWORD sizeOfDnsNames(PCCERT_CONTEXT certificate) {
    return sizeOfNames(certificate, CERT_NAME_DNS_TYPE, CERT_NAME_SEARCH_ALL_NAMES_FLAG);
}

// Splits zero-terminated texts that end at an empty text or at the end of the buffer.
std::vector<std::wstring> splitAtZeros(const std::vector<wchar_t>& buffer) {
    std::vector<std::wstring> texts;
    auto start = buffer.begin();
    while (start != buffer.end() && *start != L'\0') {
        const auto end = std::find(start, buffer.end(), L'\0');
        texts.emplace_back(start, end);
        start = end == buffer.end() ? end : end + 1;
    }
    return texts;
}

// size is that of sizeOfDnsNames.
std::vector<std::wstring> readDnsNames(PCCERT_CONTEXT certificate, DWORD size) {
    std::vector<wchar_t> buffer(size);
    platform::CertGetNameStringW(certificate, CERT_NAME_DNS_TYPE, CERT_NAME_SEARCH_ALL_NAMES_FLAG,
                                 nullptr, buffer.data(), size);
    return splitAtZeros(buffer);
}

} // namespace

std::vector<std::wstring> dnsNamesOf(PCCERT_CONTEXT certificate) {
    return readDnsNames(certificate, sizeOfDnsNames(certificate));
}

std::wstring subjectOf(PCCERT_CONTEXT certificate) {
    DWORD form = CERT_X500_NAME_STR;
    const DWORD size =
        platform::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, 0, &form, nullptr, 0);
    std::wstring subject(size, L'\0');
    const DWORD written = platform::CertGetNameStringW(certificate, CERT_NAME_RDN_TYPE, 0, &form,
                                                       subject.data(), size);
    subject.resize(written - onlyTheTerminator);
    return subject;
}

std::vector<std::wstring> CertificateInspector::getAllNames(PCCERT_CONTEXT certificate) const {
    const DWORD size = sizeOfDnsNames(certificate);
    if (size == onlyTheTerminator) {
        log.log(Severity::Warning,
                L"CertGetNameStringW could not find any names on the certificate");
    }
    return readDnsNames(certificate, size);
}

std::wstring CertificateInspector::getFriendlyName(PCCERT_CONTEXT certificate) const {
    const DWORD size = sizeOfNames(certificate, CERT_NAME_FRIENDLY_DISPLAY_TYPE, 0);
    if (size == onlyTheTerminator) {
        // Without the W, unlike the line of getAllNames. Compatibility: misspelt-texts
        log.log(Severity::Warning,
                L"CertGetNameString could not find any names on the certificate");
    }
    std::wstring name(size, L'\0');
    platform::CertGetNameStringW(certificate, CERT_NAME_FRIENDLY_DISPLAY_TYPE, 0, nullptr,
                                 name.data(), size);
    if (!name.empty()) {
        name.pop_back(); // the terminator
    }
    return name;
}

void CertificateInspector::reportAllNames(PCCERT_CONTEXT certificate) const {
    std::wstring line = L"All names on this certificate: ";
    for (const std::wstring& name : getAllNames(certificate)) {
        line += L"[" + name + L"] ";
    }
    log.log(Severity::Info, line);
}

} // namespace VexaSsl
