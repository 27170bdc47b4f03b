#include "contract/certificates/StoreFixture.h"

#include <grp.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace VexaSsl::testing {
namespace {

std::filesystem::path makeFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "certificates-XXXXXX").native();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("can't make a folder for the test");
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

} // namespace

OpenedStore::OpenedStore()
    : handle(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                     CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG |
                                         CERT_STORE_OPEN_EXISTING_FLAG,
                                     L"MY")) {}

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
    while ((certificate = platform::CertEnumCertificatesInStore(store, certificate)))
        names.push_back(displayName(certificate));
    return names;
}

std::vector<std::wstring> namesInPersonalStore() {
    const OpenedStore store;
    return namesIn(store.get());
}

HeldContext firstIn(HCERTSTORE store) {
    return platform::CertEnumCertificatesInStore(store, nullptr);
}

HeldContext findSubject(HCERTSTORE store, const wchar_t* text, PCCERT_CONTEXT previous) {
    return platform::CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                CERT_FIND_SUBJECT_STR_W, text, previous);
}

HeldContext findUsages(HCERTSTORE store, std::vector<std::string> usages, PCCERT_CONTEXT previous) {
    std::vector<char*> identifiers;
    for (std::string& usage : usages)
        identifiers.push_back(usage.data());
    const CERT_ENHKEY_USAGE sought{static_cast<DWORD>(identifiers.size()), identifiers.data()};
    return platform::CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                CERT_FIND_ENHKEY_USAGE, &sought, previous);
}

std::vector<std::wstring> namesFoundBySubject(const wchar_t* text) {
    const OpenedStore store;
    std::vector<std::wstring> names;
    HeldContext found;
    while ((found = findSubject(store.get(), text, found.release())))
        names.push_back(displayName(found.get()));
    return names;
}

std::vector<std::wstring> namesFoundByUsage(const std::string& usage) {
    const OpenedStore store;
    std::vector<std::wstring> names;
    HeldContext found;
    while ((found = findUsages(store.get(), {usage}, found.release())))
        names.push_back(displayName(found.get()));
    return names;
}

TemporaryCertificateFolder::TemporaryCertificateFolder()
    : folder(makeFolder()), formerFolder(platform::certificateFolder()) {
    std::filesystem::create_directory(folder / "my");
    std::filesystem::create_directory(folder / "root");
    platform::setCertificateFolder(folder);
}

TemporaryCertificateFolder::~TemporaryCertificateFolder() {
    platform::setCertificateFolder(formerFolder);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void TemporaryCertificateFolder::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path fresh = path(name + ".fresh");
    std::ofstream(fresh, std::ios::binary) << content;
    std::filesystem::rename(fresh, path(name));
}

void TemporaryCertificateFolder::remove(const std::string& name) const {
    std::filesystem::remove(path(name));
}

void TemporaryCertificateFolder::install(const std::string& name, const Issued& issued,
                                         const std::vector<const Issued*>& helpers) const {
    std::string content = pem(issued) + keyPem(issued);
    for (const Issued* helper : helpers)
        content += pem(*helper);
    write("my/" + name, content);
}

HeldContext contextOf(const Issued& issued, const std::vector<const Issued*>& helpers) {
    const TemporaryCertificateFolder folder;
    folder.install("it.pem", issued, helpers);
    const OpenedStore store;
    return firstIn(store.get());
}

bool becomeUnprivileged() {
    constexpr uid_t nobody = 65534;
    if (geteuid() != 0)
        return true;
    return setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
}

} // namespace VexaSsl::testing
