// Puts the certificates of make-certificates.sh --windows into the machine's and the user's stores,
// replacing those of an earlier call. Needs the right to write to the machine's stores.
//
//     fill_stores DIR
//
// Every DIR/my/*.pfx goes to the machine's personal store, each key into a container of its own
// named after the certificate's thumbprint (a system may import all into one container, where the
// next overwrites the one before); the authority becomes a trusted root of the user, the
// intermediate one goes to the machine's intermediate authorities.
//
// Exit status: 0; 1 with a line on the standard error output.
#include <windows.h>

#include <wincrypt.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<BYTE>;

constexpr wchar_t ours[] = L"case "; // every subject of the tests has it

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + " failed: " + std::to_string(GetLastError()));
}

void expect(BOOL done, const char* what) {
    if (!done) {
        fail(what);
    }
}

struct StoreCloser {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, StoreCloser>;

Store openStore(DWORD location, const wchar_t* name) {
    Store store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, name));
    if (!store) {
        fail("CertOpenStore");
    }
    return store;
}

Bytes contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Removed after the search: removing during it may never end.
void removeOurs(HCERTSTORE store) {
    std::vector<PCCERT_CONTEXT> found;
    PCCERT_CONTEXT last = nullptr;
    while ((last = CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W,
                                              ours, last)) != nullptr) {
        found.push_back(CertDuplicateCertificateContext(last));
    }
    for (const PCCERT_CONTEXT certificate : found) {
        expect(CertDeleteCertificateFromStore(certificate), "CertDeleteCertificateFromStore");
    }
}

void addAuthority(HCERTSTORE store, const fs::path& file) {
    const Bytes text = contentOf(file);
    const auto* const characters = reinterpret_cast<const char*>(text.data());
    const auto length = static_cast<DWORD>(text.size());
    DWORD size = 0;
    expect(CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, nullptr, &size,
                                nullptr, nullptr),
           "CryptStringToBinary");
    Bytes encoded(size);
    expect(CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, encoded.data(),
                                &size, nullptr, nullptr),
           "CryptStringToBinary");
    expect(CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, encoded.data(), size,
                                            CERT_STORE_ADD_REPLACE_EXISTING, nullptr),
           "CertAddEncodedCertificateToStore");
}

std::wstring thumbprint(PCCERT_CONTEXT certificate) {
    Bytes hash(20);
    auto size = static_cast<DWORD>(hash.size());
    expect(
        CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash.data(), &size),
        "CertGetCertificateContextProperty");
    std::wstring text;
    for (const BYTE byte : hash) {
        text += L"0123456789abcdef"[byte >> 4];
        text += L"0123456789abcdef"[byte & 15];
    }
    return text;
}

// Returns the key as a blob; specification is its purpose.
Bytes exportKey(PCCERT_CONTEXT certificate, DWORD& specification) {
    HCRYPTPROV provider = 0;
    BOOL release = FALSE;
    expect(CryptAcquireCertificatePrivateKey(certificate, 0, nullptr, &provider, &specification,
                                             &release),
           "CryptAcquireCertificatePrivateKey");
    HCRYPTKEY key = 0;
    specification = CryptGetUserKey(provider, AT_KEYEXCHANGE, &key) ? AT_KEYEXCHANGE : AT_SIGNATURE;
    if (key == 0) {
        expect(CryptGetUserKey(provider, AT_SIGNATURE, &key), "CryptGetUserKey");
    }
    DWORD size = 0;
    expect(CryptExportKey(key, 0, PRIVATEKEYBLOB, 0, nullptr, &size), "CryptExportKey");
    Bytes blob(size);
    expect(CryptExportKey(key, 0, PRIVATEKEYBLOB, 0, blob.data(), &size), "CryptExportKey");
    CryptDestroyKey(key);
    if (release) {
        CryptReleaseContext(provider, 0);
    }
    return blob;
}

void giveOwnContainer(PCCERT_CONTEXT certificate) {
    DWORD specification = 0;
    const Bytes blob = exportKey(certificate, specification);
    std::wstring container = L"vexassl-test-" + thumbprint(certificate);
    wchar_t provider[] = MS_ENHANCED_PROV_W;
    HCRYPTPROV opened = 0;
    CryptAcquireContextW(&opened, container.c_str(), provider, PROV_RSA_FULL, CRYPT_DELETEKEYSET);
    expect(
        CryptAcquireContextW(&opened, container.c_str(), provider, PROV_RSA_FULL, CRYPT_NEWKEYSET),
        "CryptAcquireContext");
    HCRYPTKEY key = 0;
    expect(CryptImportKey(opened, blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_EXPORTABLE,
                          &key),
           "CryptImportKey");
    CryptDestroyKey(key);
    CryptReleaseContext(opened, 0);
    CRYPT_KEY_PROV_INFO place{};
    place.pwszContainerName = container.data();
    place.pwszProvName = provider;
    place.dwProvType = PROV_RSA_FULL;
    place.dwKeySpec = specification;
    expect(CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &place),
           "CertSetCertificateContextProperty");
}

void addWithKey(HCERTSTORE store, const fs::path& file) {
    Bytes content = contentOf(file);
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(content.size()), content.data()};
    const Store imported(PFXImportCertStore(&blob, L"test", CRYPT_EXPORTABLE));
    if (!imported) {
        fail("PFXImportCertStore of " + file.string());
    }
    const PCCERT_CONTEXT certificate = CertEnumCertificatesInStore(imported.get(), nullptr);
    expect(certificate != nullptr, "CertEnumCertificatesInStore");
    giveOwnContainer(certificate);
    expect(CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_REPLACE_EXISTING,
                                            nullptr),
           "CertAddCertificateContextToStore");
    CertFreeCertificateContext(certificate);
}

// Without this the change may be lost if a context is still held.
void commit(HCERTSTORE store) {
    expect(CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr), "CertControlStore");
}

int fill(const fs::path& folder) {
    const Store personal = openStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"MY");
    const Store roots = openStore(CERT_SYSTEM_STORE_CURRENT_USER, L"Root");
    const Store intermediates = openStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"CA");
    for (const Store* store : {&personal, &roots, &intermediates}) {
        removeOurs(store->get());
    }
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder / "my")) {
        if (entry.path().extension() == ".pfx") {
            addWithKey(personal.get(), entry.path());
            ++count;
        }
    }
    addAuthority(roots.get(), folder / "all" / "authority" / "cert.pem");
    addAuthority(intermediates.get(), folder / "all" / "intermediate" / "cert.pem");
    for (const Store* store : {&personal, &roots, &intermediates}) {
        commit(store->get());
    }
    return count;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fill_stores DIR\n");
        return 1;
    }
    try {
        const int count = fill(argv[1]);
        std::printf("%d certificates with keys\n", count);
        return count > 0 ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "fill_stores: %s\n", failure.what());
        return 1;
    }
}
