#include "platform/openssl/tls/SslSettings.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/NameConstraints.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/VerificationParameters.h"
#include "platform/openssl/tls/Statuses.h"

#include <cstdint>
#include <utility>

namespace VexaSsl::openssl {
namespace {

// Cipher suites with forward secrecy and authenticated encryption only.
constexpr char cipherSuites[] = "ECDHE+AESGCM:ECDHE+CHACHA20";

// No session resumption, and no renegotiation by a peer.
constexpr std::uint64_t options =
    SSL_OP_NO_TICKET | SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION;
// Handshakes that wait for the peer have no record buffers.
constexpr long modes = SSL_MODE_RELEASE_BUFFERS;

// A client's certificate is validated after the handshake, by the core. The handshake only proves
// that the client has the private key.
int acceptAnyCertificate(X509_STORE_CTX*, void*) {
    return 1;
}

void applyCommonSettings(SSL_CTX* context) {
    SSL_CTX_set_options(context, options);
    SSL_CTX_set_mode(context, modes);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF | SSL_SESS_CACHE_NO_INTERNAL);
    requireSuccess("SSL_CTX_set_min_proto_version",
                   SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1);
    requireSuccess("SSL_CTX_set_max_proto_version",
                   SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1);
    requireSuccess("SSL_CTX_set_cipher_list", SSL_CTX_set_cipher_list(context, cipherSuites) == 1);
}

// Verifies the server's chain as OpenSSL does, and then whether it permits the expected name, which
// a name in the certificate may only cover.
int verifyServer(X509_STORE_CTX* verification, void*) {
    const int result = X509_verify_cert(verification);
    const char* name = X509_VERIFY_PARAM_get0_host(X509_STORE_CTX_get0_param(verification), 0);
    if (result != 1 || !name) {
        return result;
    }
    const int error = constraintError(name, X509_STORE_CTX_get0_chain(verification));
    X509_STORE_CTX_set_error(verification, error);
    return error == X509_V_OK ? 1 : 0;
}

void applyClientSettings(SSL_CTX* context, X509_STORE* anchors) {
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(context, verifyServer, nullptr);
    SSL_CTX_set1_cert_store(context, anchors);
    setPurpose(SSL_CTX_get0_param(context), Purpose::server);
}

// Returns why OpenSSL refused the certificate: it is too weak, memory is short, or the key doesn't
// match or isn't usable for TLS.
SECURITY_STATUS statusOfRefusedCertificate() {
    const SECURITY_STATUS status = statusOfFailure("SSL_CTX_use_cert_and_key", nullptr);
    const bool isSpecific =
        status == SEC_E_ALGORITHM_MISMATCH || status == SEC_E_INSUFFICIENT_MEMORY;
    return isSpecific ? status : SEC_E_UNKNOWN_CREDENTIALS;
}

// With a chain, even an empty one, OpenSSL sends no issuers that it finds among the trust anchors.
SECURITY_STATUS applyCertificate(SSL_CTX* context, PCCERT_CONTEXT certificate) {
    const BorrowingStack extraCertificates = stackOf(extraCertificatesOf(certificate));
    constexpr int overrideExisting = 1;
    const int result =
        SSL_CTX_use_cert_and_key(context, x509Of(certificate), privateKeyOf(certificate),
                                 extraCertificates.get(), overrideExisting);
    return result == 1 ? SEC_E_OK : statusOfRefusedCertificate();
}

} // namespace

SECURITY_STATUS makeSslContext(Role role, PCCERT_CONTEXT certificate, X509_STORE* anchors,
                               SslContextPointer& made) {
    const bool isClient = role == Role::client;
    auto context = requireResult(
        "SSL_CTX_new",
        SslContextPointer(SSL_CTX_new(isClient ? TLS_client_method() : TLS_server_method())));
    applyCommonSettings(context.get());
    if (isClient) {
        applyClientSettings(context.get(), anchors);
    } else {
        SSL_CTX_set_cert_verify_callback(context.get(), acceptAnyCertificate, nullptr);
    }
    const SECURITY_STATUS status =
        certificate ? applyCertificate(context.get(), certificate) : SEC_E_OK;
    if (status == SEC_E_OK) {
        made = std::move(context);
    }
    return status;
}

} // namespace VexaSsl::openssl
