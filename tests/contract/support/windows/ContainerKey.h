// An RSA key in a container of the user. Containers are kept, because making a key is slow and only
// the keys of one test have to differ.
#pragma once

// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <memory>
#include <string>

namespace VexaSsl::test {

struct ContainerKey {
    // Opens the key with this size and number, and makes it if it is missing.
    ContainerKey(unsigned bits, unsigned number);
    ~ContainerKey();
    ContainerKey(const ContainerKey&) = delete;
    ContainerKey& operator=(const ContainerKey&) = delete;

    // Returns an RSA signature with SHA-256 in the byte order of certificates.
    std::string sign(const std::string& bytes) const;
    // Makes this the private key of the certificate.
    void attachTo(PCCERT_CONTEXT certificate) const;

    std::string publicKey;  // the encoded SubjectPublicKeyInfo
    std::string identifier; // its SHA-1

private:
    std::wstring container;
    HCRYPTPROV provider = 0;
};

// Holds a system-wide mutex while it lives.
class SystemLock {
public:
    explicit SystemLock(const wchar_t* name);
    ~SystemLock();
    SystemLock(const SystemLock&) = delete;
    SystemLock& operator=(const SystemLock&) = delete;

private:
    HANDLE mutex;
};

} // namespace VexaSsl::test
