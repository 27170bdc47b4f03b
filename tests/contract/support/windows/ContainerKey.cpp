#include "ContainerKey.h"

#include <algorithm>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr wchar_t providerName[] = L"Microsoft Enhanced RSA and AES Cryptographic Provider";

void require(BOOL done, const char* what) {
    if (!done) {
        throw std::runtime_error(std::string(what) + " failed, " + std::to_string(GetLastError()));
    }
}

BYTE* bytesOf(std::string& text) {
    return reinterpret_cast<BYTE*>(text.data());
}

const BYTE* bytesOf(const std::string& text) {
    return reinterpret_cast<const BYTE*>(text.data());
}

// The container is written only when its handle is released.
void makeContainer(const std::wstring& name, unsigned bits) {
    HCRYPTPROV provider = 0;
    require(
        CryptAcquireContextW(&provider, name.c_str(), providerName, PROV_RSA_AES, CRYPT_NEWKEYSET),
        "CryptAcquireContext");
    HCRYPTKEY key = 0;
    require(CryptGenKey(provider, AT_KEYEXCHANGE, (bits << 16) | CRYPT_EXPORTABLE, &key),
            "CryptGenKey");
    CryptDestroyKey(key);
    CryptReleaseContext(provider, 0);
}

HCRYPTPROV openContainer(const std::wstring& name, unsigned bits) {
    const SystemLock lock(L"vexassl-contract-keys");
    HCRYPTPROV provider = 0;
    if (CryptAcquireContextW(&provider, name.c_str(), providerName, PROV_RSA_AES, 0)) {
        return provider;
    }
    makeContainer(name, bits);
    require(CryptAcquireContextW(&provider, name.c_str(), providerName, PROV_RSA_AES, 0),
            "CryptAcquireContext");
    return provider;
}

std::string exportPublicKey(HCRYPTPROV provider) {
    DWORD size = 0;
    require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &size),
            "CryptExportPublicKeyInfo");
    std::string info(size, '\0');
    auto* const shape = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(info.data());
    require(CryptExportPublicKeyInfo(provider, AT_KEYEXCHANGE, X509_ASN_ENCODING, shape, &size),
            "CryptExportPublicKeyInfo");
    DWORD encodedSize = 0;
    require(
        CryptEncodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, shape, nullptr, &encodedSize),
        "CryptEncodeObject");
    std::string encoded(encodedSize, '\0');
    require(CryptEncodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, shape, bytesOf(encoded),
                              &encodedSize),
            "CryptEncodeObject");
    encoded.resize(encodedSize);
    return encoded;
}

std::string sha1(const std::string& bytes) {
    std::string digest(20, '\0');
    auto size = static_cast<DWORD>(digest.size());
    require(CryptHashCertificate(0, CALG_SHA1, 0, bytesOf(bytes), static_cast<DWORD>(bytes.size()),
                                 bytesOf(digest), &size),
            "CryptHashCertificate");
    return digest;
}

} // namespace

ContainerKey::ContainerKey(unsigned bits, unsigned number)
    : container(L"vexassl-contract-" + std::to_wstring(bits) + L"-" + std::to_wstring(number)),
      provider(openContainer(container, bits)) {
    publicKey = exportPublicKey(provider);
    identifier = sha1(publicKey);
}

ContainerKey::~ContainerKey() {
    CryptReleaseContext(provider, 0);
}

std::string ContainerKey::sign(const std::string& bytes) const {
    HCRYPTHASH hash = 0;
    require(CryptCreateHash(provider, CALG_SHA_256, 0, 0, &hash), "CryptCreateHash");
    require(CryptHashData(hash, bytesOf(bytes), static_cast<DWORD>(bytes.size()), 0),
            "CryptHashData");
    DWORD size = 0;
    require(CryptSignHashW(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size), "CryptSignHash");
    std::string signature(size, '\0');
    require(CryptSignHashW(hash, AT_KEYEXCHANGE, nullptr, 0, bytesOf(signature), &size),
            "CryptSignHash");
    CryptDestroyHash(hash);
    std::reverse(signature.begin(), signature.end()); // CryptoAPI has the lowest byte first
    return signature;
}

void ContainerKey::attachTo(PCCERT_CONTEXT certificate) const {
    std::wstring name = container;
    std::wstring provider_ = providerName;
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = name.data();
    info.pwszProvName = provider_.data();
    info.dwProvType = PROV_RSA_AES;
    info.dwKeySpec = AT_KEYEXCHANGE;
    require(CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info),
            "CertSetCertificateContextProperty");
}

SystemLock::SystemLock(const wchar_t* name) : mutex(CreateMutexW(nullptr, FALSE, name)) {
    WaitForSingleObject(mutex, INFINITE);
}

SystemLock::~SystemLock() {
    ReleaseMutex(mutex);
    CloseHandle(mutex);
}

} // namespace VexaSsl::test
