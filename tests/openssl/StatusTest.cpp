// The status for each alert of a peer and for each reason of a failed handshake.
#include "SecurityShapes.h"
#include "VexaPlatform/SecurityFailure.h"
#include "platform/openssl/tls/Statuses.h"

#include <gtest/gtest.h>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <map>
#include <vector>

namespace VexaSsl::test {
namespace {

using openssl::statusOfAlert;
using openssl::statusOfFailure;

const std::map<int, SECURITY_STATUS> statusesOfAlerts = {
    {SSL_AD_CLOSE_NOTIFY, SEC_E_CONTEXT_EXPIRED},
    {SSL_AD_BAD_RECORD_MAC, SEC_E_MESSAGE_ALTERED},
    {SSL_AD_DECOMPRESSION_FAILURE, SEC_E_MESSAGE_ALTERED},
    {SSL_AD_DECRYPTION_FAILED, SEC_E_DECRYPT_FAILURE},
    {SSL_AD_DECRYPT_ERROR, SEC_E_DECRYPT_FAILURE},
    {SSL_AD_BAD_CERTIFICATE, SEC_E_CERT_UNKNOWN},
    {SSL_AD_UNSUPPORTED_CERTIFICATE, SEC_E_CERT_UNKNOWN},
    {SSL_AD_CERTIFICATE_REVOKED, SEC_E_CERT_UNKNOWN},
    {SSL_AD_CERTIFICATE_UNKNOWN, SEC_E_CERT_UNKNOWN},
    {SSL_AD_CERTIFICATE_EXPIRED, SEC_E_CERT_EXPIRED},
    {SSL_AD_UNKNOWN_CA, SEC_E_UNTRUSTED_ROOT},
    {SSL_AD_ACCESS_DENIED, SEC_E_LOGON_DENIED},
    {SSL_AD_PROTOCOL_VERSION, SEC_E_ALGORITHM_MISMATCH},
    {SSL_AD_INSUFFICIENT_SECURITY, SEC_E_ALGORITHM_MISMATCH},
    {SSL_AD_INTERNAL_ERROR, SEC_E_INTERNAL_ERROR},
    {SSL_AD_UNRECOGNIZED_NAME, SEC_E_WRONG_PRINCIPAL},
};

const std::map<SECURITY_STATUS, std::vector<int>> reasonsOfStatus = {
    {SEC_E_ALGORITHM_MISMATCH,
     {SSL_R_NO_SHARED_CIPHER, SSL_R_NO_SHARED_GROUPS, SSL_R_NO_SHARED_SIGNATURE_ALGORITHMS,
      SSL_R_NO_SUITABLE_SIGNATURE_ALGORITHM, SSL_R_NO_CIPHERS_AVAILABLE,
      SSL_R_NO_PROTOCOLS_AVAILABLE, SSL_R_UNSUPPORTED_PROTOCOL, SSL_R_VERSION_TOO_LOW,
      SSL_R_VERSION_TOO_HIGH, SSL_R_WRONG_SSL_VERSION, SSL_R_WRONG_CIPHER_RETURNED,
      SSL_R_WRONG_CURVE, SSL_R_EE_KEY_TOO_SMALL, SSL_R_CA_KEY_TOO_SMALL, SSL_R_CA_MD_TOO_WEAK}},
    {SEC_E_MESSAGE_ALTERED,
     {SSL_R_DECRYPTION_FAILED_OR_BAD_RECORD_MAC, SSL_R_BAD_SIGNATURE, SSL_R_DIGEST_CHECK_FAILED}},
    {SEC_E_DECRYPT_FAILURE, {SSL_R_DECRYPTION_FAILED}},
    {SEC_E_INTERNAL_ERROR, {ERR_R_INTERNAL_ERROR}},
    {SEC_E_INSUFFICIENT_MEMORY, {ERR_R_MALLOC_FAILURE}},
    {SEC_E_ILLEGAL_MESSAGE, {SSL_R_UNEXPECTED_MESSAGE, SSL_R_LENGTH_MISMATCH}},
};

// The status when these errors are queued, the oldest first.
SECURITY_STATUS statusOf(const std::vector<std::pair<int, int>>& errors) {
    ERR_clear_error();
    for (const auto& [library, reason] : errors) {
        ERR_raise(library, reason);
    }
    const SECURITY_STATUS status = statusOfFailure("a call", nullptr);
    EXPECT_EQ(ERR_peek_error(), 0U);
    EXPECT_EQ(platform::lastSecurityFailure().empty(), status != SEC_E_INTERNAL_ERROR);
    return status;
}

TEST(StatusOfAlert, alertThatIsNotListedIsIllegalMessage) {
    for (int alert = 0; alert < 256; ++alert) {
        const auto found = statusesOfAlerts.find(alert);
        const SECURITY_STATUS status =
            found == statusesOfAlerts.end() ? SEC_E_ILLEGAL_MESSAGE : found->second;
        EXPECT_EQ(statusOfAlert(alert), status) << alert;
        EXPECT_EQ(statusOf({{ERR_LIB_SSL, SSL_AD_REASON_OFFSET + alert}}), status) << alert;
    }
}

TEST(StatusOfFailure, reasonHasItsStatus) {
    for (const auto& [status, reasons] : reasonsOfStatus) {
        for (const int reason : reasons) {
            EXPECT_EQ(statusOf({{ERR_LIB_SSL, reason}}), status) << reason;
        }
    }
    EXPECT_EQ(statusOf({{ERR_LIB_SSL, SSL_R_CERTIFICATE_VERIFY_FAILED}}), SEC_E_ILLEGAL_MESSAGE);
}

TEST(StatusOfFailure, oldestKnownReasonCounts) {
    EXPECT_EQ(statusOf({{ERR_LIB_SSL, SSL_R_LENGTH_MISMATCH},
                        {ERR_LIB_SSL, SSL_R_NO_SHARED_CIPHER},
                        {ERR_LIB_SSL, SSL_R_BAD_SIGNATURE}}),
              SEC_E_ALGORITHM_MISMATCH);
}

TEST(StatusOfFailure, numbersAbove255AreNoAlerts) {
    const auto statusAfter = [](int alert) {
        return statusOf(
            {{ERR_LIB_SSL, SSL_AD_REASON_OFFSET + alert}, {ERR_LIB_SSL, SSL_R_NO_SHARED_CIPHER}});
    };
    EXPECT_EQ(statusAfter(255), SEC_E_ILLEGAL_MESSAGE);
    EXPECT_EQ(statusAfter(256), SEC_E_ALGORITHM_MISMATCH);
}

TEST(StatusOfFailure, reasonsOfOtherLibrariesDoNotCountExceptLackOfMemory) {
    EXPECT_EQ(statusOf({{ERR_LIB_EVP, SSL_R_NO_SHARED_CIPHER}}), SEC_E_ILLEGAL_MESSAGE);
    EXPECT_EQ(statusOf({{ERR_LIB_EVP, ERR_R_MALLOC_FAILURE}}), SEC_E_INSUFFICIENT_MEMORY);
}

TEST(StatusOfFailure, failureWithoutReasonIsInternalError) {
    EXPECT_EQ(statusOf({}), SEC_E_INTERNAL_ERROR);
}

} // namespace
} // namespace VexaSsl::test
