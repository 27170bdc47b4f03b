#include "platform/openssl/stores/NameConstraints.h"

#include "platform/openssl/stores/OpenSslOwners.h"

#include <openssl/x509_vfy.h>

#include <memory>
#include <utility>

namespace VexaSsl::openssl {
namespace {

using ConstraintsPointer = std::unique_ptr<NAME_CONSTRAINTS, Release<NAME_CONSTRAINTS_free>>;
using NamePointer = std::unique_ptr<GENERAL_NAME, Release<GENERAL_NAME_free>>;

using NamesPointer = std::unique_ptr<GENERAL_NAMES, Release<GENERAL_NAMES_free>>;
using TextPointer = std::unique_ptr<ASN1_IA5STRING, Release<ASN1_IA5STRING_free>>;

NamesPointer namesWith(const char* dnsName) noexcept {
    NamesPointer names(sk_GENERAL_NAME_new_null());
    NamePointer name(GENERAL_NAME_new());
    TextPointer text(ASN1_IA5STRING_new());
    if (!names || !name || !text || ASN1_STRING_set(text.get(), dnsName, -1) != 1) {
        return nullptr;
    }
    GENERAL_NAME_set0_value(name.get(), GEN_DNS, text.release());
    if (sk_GENERAL_NAME_push(names.get(), name.get()) <= 0) {
        return nullptr;
    }
    static_cast<void>(name.release()); // the list's now
    return names;
}

// Returns a certificate that has only this name; null when memory is short.
X509Pointer certificateOf(const char* dnsName) noexcept {
    const NamesPointer names = namesWith(dnsName);
    X509Pointer certificate(X509_new());
    const bool isNamed =
        names && certificate &&
        X509_add1_ext_i2d(certificate.get(), NID_subject_alt_name, names.get(), 0, 0) == 1;
    // Reading the flags makes OpenSSL decode the extension, which NAME_CONSTRAINTS_check uses.
    const bool isDecoded =
        isNamed && (X509_get_extension_flags(certificate.get()) & EXFLAG_INVALID) == 0;
    return isDecoded ? std::move(certificate) : nullptr;
}

int errorOf(X509* named, const X509* issuer) noexcept {
    constexpr int isAbsent = -1;
    int critical = isAbsent;
    const ConstraintsPointer constraints(static_cast<NAME_CONSTRAINTS*>(
        X509_get_ext_d2i(issuer, NID_name_constraints, &critical, nullptr)));
    if (!constraints) {
        return critical == isAbsent ? X509_V_OK : X509_V_ERR_UNSUPPORTED_CONSTRAINT_SYNTAX;
    }
    return NAME_CONSTRAINTS_check(named, constraints.get());
}

} // namespace

int constraintError(const char* dnsName, const STACK_OF(X509) * chain) noexcept {
    const ErrorQueueGuard errors;
    const X509Pointer named = certificateOf(dnsName);
    if (!named) {
        return X509_V_ERR_OUT_OF_MEM;
    }
    for (int i = 1; i < sk_X509_num(chain); ++i) {
        if (const int error = errorOf(named.get(), sk_X509_value(chain, i)); error != X509_V_OK) {
            return error;
        }
    }
    return X509_V_OK;
}

} // namespace VexaSsl::openssl
