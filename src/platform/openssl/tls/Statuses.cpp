#include "platform/openssl/tls/Statuses.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/VerificationErrors.h"

#include <openssl/err.h>
#include <openssl/tls1.h>

#include <cstddef>
#include <optional>

namespace VexaSsl::openssl {
namespace {

struct Outcome {
    long number;
    SECURITY_STATUS status;
};

// The statuses that Windows returns for the peer's alerts.
constexpr Outcome alerts[] = {
    {SSL_AD_CLOSE_NOTIFY, SEC_E_CONTEXT_EXPIRED},
    {SSL_AD_BAD_RECORD_MAC, SEC_E_MESSAGE_ALTERED},
    {SSL_AD_DECRYPTION_FAILED, SEC_E_DECRYPT_FAILURE},
    {SSL_AD_DECOMPRESSION_FAILURE, SEC_E_MESSAGE_ALTERED},
    {SSL_AD_BAD_CERTIFICATE, SEC_E_CERT_UNKNOWN},
    {SSL_AD_UNSUPPORTED_CERTIFICATE, SEC_E_CERT_UNKNOWN},
    {SSL_AD_CERTIFICATE_REVOKED, SEC_E_CERT_UNKNOWN},
    {SSL_AD_CERTIFICATE_EXPIRED, SEC_E_CERT_EXPIRED},
    {SSL_AD_CERTIFICATE_UNKNOWN, SEC_E_CERT_UNKNOWN},
    {SSL_AD_UNKNOWN_CA, SEC_E_UNTRUSTED_ROOT},
    {SSL_AD_ACCESS_DENIED, SEC_E_LOGON_DENIED},
    {SSL_AD_DECRYPT_ERROR, SEC_E_DECRYPT_FAILURE},
    {SSL_AD_PROTOCOL_VERSION, SEC_E_ALGORITHM_MISMATCH},
    {SSL_AD_INSUFFICIENT_SECURITY, SEC_E_ALGORITHM_MISMATCH},
    {SSL_AD_INTERNAL_ERROR, SEC_E_INTERNAL_ERROR},
    {SSL_AD_UNRECOGNIZED_NAME, SEC_E_WRONG_PRINCIPAL},
};

// Reasons of ERR_LIB_SSL; for SSL_R_CERTIFICATE_VERIFY_FAILED see VerificationErrors.h.
constexpr Outcome reasons[] = {
    {SSL_R_NO_SHARED_CIPHER, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_NO_SHARED_GROUPS, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_NO_SHARED_SIGNATURE_ALGORITHMS, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_NO_SUITABLE_SIGNATURE_ALGORITHM, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_NO_CIPHERS_AVAILABLE, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_NO_PROTOCOLS_AVAILABLE, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_UNSUPPORTED_PROTOCOL, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_VERSION_TOO_LOW, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_VERSION_TOO_HIGH, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_WRONG_SSL_VERSION, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_WRONG_CIPHER_RETURNED, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_WRONG_CURVE, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_EE_KEY_TOO_SMALL, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_CA_KEY_TOO_SMALL, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_CA_MD_TOO_WEAK, SEC_E_ALGORITHM_MISMATCH},
    {SSL_R_DECRYPTION_FAILED_OR_BAD_RECORD_MAC, SEC_E_MESSAGE_ALTERED},
    {SSL_R_DECRYPTION_FAILED, SEC_E_DECRYPT_FAILURE},
    {SSL_R_BAD_SIGNATURE, SEC_E_MESSAGE_ALTERED},
    {SSL_R_DIGEST_CHECK_FAILED, SEC_E_MESSAGE_ALTERED},
    {ERR_R_INTERNAL_ERROR, SEC_E_INTERNAL_ERROR},
};

template <std::size_t count>
std::optional<SECURITY_STATUS> find(const Outcome (&table)[count], long number) noexcept {
    for (const Outcome& outcome : table) {
        if (outcome.number == number) {
            return outcome.status;
        }
    }
    return std::nullopt;
}

std::optional<SECURITY_STATUS> statusOfError(unsigned long error, const SSL* ssl) noexcept {
    const int reason = ERR_GET_REASON(error);
    if (reason == ERR_R_MALLOC_FAILURE) {
        return SEC_E_INSUFFICIENT_MEMORY;
    }
    if (ERR_GET_LIB(error) != ERR_LIB_SSL) {
        return std::nullopt;
    }
    if (reason == SSL_R_CERTIFICATE_VERIFY_FAILED && ssl) {
        return verificationError(SSL_get_verify_result(ssl)).status;
    }
    constexpr int alertOffset = SSL_AD_REASON_OFFSET;
    if (reason >= alertOffset && reason < alertOffset + 256) {
        return statusOfAlert(reason - alertOffset);
    }
    return find(reasons, reason);
}

} // namespace

SECURITY_STATUS statusOfAlert(int alert) noexcept {
    return find(alerts, alert).value_or(SEC_E_ILLEGAL_MESSAGE);
}

SECURITY_STATUS statusOfFailure(const char* call, const SSL* ssl) noexcept {
    recordFailure(call);
    bool hasError = false;
    std::optional<SECURITY_STATUS> status;
    while (const unsigned long error = ERR_get_error()) {
        hasError = true;
        if (!status) {
            status = statusOfError(error, ssl);
        }
    }
    const SECURITY_STATUS result =
        status.value_or(hasError ? SEC_E_ILLEGAL_MESSAGE : SEC_E_INTERNAL_ERROR);
    if (result != SEC_E_INTERNAL_ERROR) {
        clearFailure();
    }
    return result;
}

} // namespace VexaSsl::openssl
