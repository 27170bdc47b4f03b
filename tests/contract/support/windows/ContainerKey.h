// An RSA key in a container of the user's. Containers are kept: making a key takes long, and tests
// need only that keys of one test differ.
#pragma once

// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <memory>
#include <string>

namespace VexaSsl::test {

struct ContainerKey {
    // The key number `number` of so many bits, made when it was never asked for.
    ContainerKey(unsigned bits, unsigned number);
    ~ContainerKey();
    ContainerKey(const ContainerKey&) = delete;
    ContainerKey& operator=(const ContainerKey&) = delete;

    // An RSA signature with SHA-256, as certificates hold it.
    std::string sign(const std::string& bytes) const;
    // Tells the system that this is the key of the certificate.
    void giveTo(PCCERT_CONTEXT certificate) const;

    std::string publicKey;  // the encoded SubjectPublicKeyInfo
    std::string identifier; // its SHA-1

private:
    std::wstring container;
    HCRYPTPROV provider = 0;
};

// Holds a mutex of the whole system.
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
