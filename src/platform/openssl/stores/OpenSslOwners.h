// Owners of OpenSSL objects, and a guard that preserves OpenSSL's error queue.
#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <new>
#include <vector>

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
// Frees the stack without its certificates.
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

// Returns a new reference to the certificate.
inline X509Pointer sharedReference(X509* certificate) noexcept {
    X509_up_ref(certificate);
    return X509Pointer(certificate);
}

// Returns the result; throws std::bad_alloc when it is null or 0. For the many OpenSSL functions
// that fail only when out of memory.
template <class Result>
Result orOutOfMemory(Result result) {
    if (!result) {
        throw std::bad_alloc();
    }
    return result;
}

// Returns a stack that borrows the certificates.
inline BorrowingStack stackOf(const std::vector<X509*>& certificates) {
    auto stack = orOutOfMemory(BorrowingStack(sk_X509_new_null()));
    for (X509* certificate : certificates) {
        orOutOfMemory(sk_X509_push(stack.get(), certificate));
    }
    return stack;
}

// Removes the errors that are queued during its lifetime. They would otherwise be attributed to the
// thread's next TLS operation.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() noexcept { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

} // namespace VexaSsl::openssl
