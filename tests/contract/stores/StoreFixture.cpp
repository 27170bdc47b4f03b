#include "contract/stores/StoreFixture.h"

namespace VexaSsl::test {

HCERTSTORE openPersonalStore(const wchar_t* name) {
    return platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                   CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG |
                                       CERT_STORE_OPEN_EXISTING_FLAG,
                                   name);
}

HCERTSTORE openMemoryStore() {
    return platform::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
}

OpenedStore::OpenedStore() : handle(openPersonalStore()) {}

BOOL OpenedStore::close() {
    const HCERTSTORE open = std::exchange(handle, nullptr);
    return open ? platform::CertCloseStore(open, CERT_CLOSE_STORE_CHECK_FLAG) : TRUE;
}

std::wstring displayName(PCCERT_CONTEXT certificate) {
    const auto ask = [certificate](wchar_t* buffer, DWORD size) {
        return platform::CertGetNameStringW(certificate, CERT_NAME_FRIENDLY_DISPLAY_TYPE, 0,
                                            nullptr, buffer, size);
    };
    std::wstring name(ask(nullptr, 0), L'\0');
    ask(name.data(), static_cast<DWORD>(name.size()));
    name.pop_back();
    return name;
}

std::vector<std::wstring> namesIn(HCERTSTORE store) {
    std::vector<std::wstring> names;
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = platform::CertEnumCertificatesInStore(store, certificate))) {
        if (belongsToTheTest(certificate)) {
            names.push_back(displayName(certificate));
        }
    }
    return names;
}

std::vector<std::wstring> namesInPersonalStore() {
    const OpenedStore store;
    return namesIn(store.get());
}

HeldContext firstIn(HCERTSTORE store) {
    return nextIn(store, nullptr);
}

HeldContext nextIn(HCERTSTORE store, PCCERT_CONTEXT previous) {
    PCCERT_CONTEXT next = previous;
    do {
        next = platform::CertEnumCertificatesInStore(store, next);
    } while (next && !belongsToTheTest(next));
    return next;
}

HeldContext addTo(HCERTSTORE store, const std::string& encoding) {
    PCCERT_CONTEXT added = nullptr;
    const BOOL done = platform::CertAddEncodedCertificateToStore(
        store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoding.data()),
        static_cast<DWORD>(encoding.size()), CERT_STORE_ADD_ALWAYS, &added);
    EXPECT_EQ(done != FALSE, added != nullptr);
    return added;
}

HeldContext findSubject(HCERTSTORE store, const wchar_t* text, PCCERT_CONTEXT previous) {
    PCCERT_CONTEXT found = previous;
    do {
        found = platform::CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                     0, CERT_FIND_SUBJECT_STR_W, text, found);
    } while (found && !belongsToTheTest(found));
    return found;
}

HeldContext findUsages(HCERTSTORE store, std::vector<std::string> usages, PCCERT_CONTEXT previous) {
    std::vector<char*> identifiers;
    for (std::string& usage : usages) {
        identifiers.push_back(usage.data());
    }
    const CERT_ENHKEY_USAGE sought{static_cast<DWORD>(identifiers.size()), identifiers.data()};
    return platform::CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                CERT_FIND_ENHKEY_USAGE, &sought, previous);
}

std::vector<std::wstring> namesFoundBySubject(const wchar_t* text) {
    const OpenedStore store;
    std::vector<std::wstring> names;
    HeldContext found;
    while ((found = findSubject(store.get(), text, found.release()))) {
        names.push_back(displayName(found.get()));
    }
    return names;
}

std::vector<std::wstring> namesFoundByUsage(const std::string& usage) {
    const OpenedStore store;
    std::vector<std::wstring> names;
    HeldContext found;
    while ((found = findUsages(store.get(), {usage}, found.release()))) {
        names.push_back(displayName(found.get()));
    }
    return names;
}

HeldContext contextOf(const Issued& issued, const std::vector<const Issued*>& helpers) {
    return makeContext(issued, helpers);
}

} // namespace VexaSsl::test
