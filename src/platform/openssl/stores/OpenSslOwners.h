// Owners for OpenSSL's objects, and a guard that keeps its error queue as it was.
#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <new>

namespace VexaSsl::openssl {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const noexcept {
        release(object);
    }
};

inline void releaseBytes(unsigned char* bytes) noexcept {
    OPENSSL_free(bytes);
}
inline void releaseCertificateStack(STACK_OF(X509) * stack) noexcept {
    sk_X509_pop_free(stack, X509_free);
}
// The stack alone; its certificates belong to someone else.
inline void releaseBorrowingStack(STACK_OF(X509) * stack) noexcept {
    sk_X509_free(stack);
}

using BytesPointer = std::unique_ptr<unsigned char, Release<releaseBytes>>;
using X509Pointer = std::unique_ptr<X509, Release<X509_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using BioPointer = std::unique_ptr<BIO, Release<BIO_free>>;
using Pkcs12Pointer = std::unique_ptr<PKCS12, Release<PKCS12_free>>;
using CertificateStack = std::unique_ptr<STACK_OF(X509), Release<releaseCertificateStack>>;
using BorrowingStack = std::unique_ptr<STACK_OF(X509), Release<releaseBorrowingStack>>;
using StoreContextPointer = std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>>;

inline X509Pointer sharedReference(X509* certificate) noexcept {
    X509_up_ref(certificate);
    return X509Pointer(certificate);
}

// Most of OpenSSL's constructors fail for want of memory only.
template <class Pointer>
Pointer orOutOfMemory(Pointer pointer) {
    if (!pointer) {
        throw std::bad_alloc();
    }
    return pointer;
}

// What fails under this guard leaves nothing in the thread's error queue, where the next look at
// the outcome of a TLS operation would mistake it for its own.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() noexcept { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

} // namespace VexaSsl::openssl
