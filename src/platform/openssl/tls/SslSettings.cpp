#include "platform/openssl/tls/SslSettings.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/tls/Statuses.h"
#include <cstdint>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

// Forward secrecy and authenticated encryption, nothing else.
constexpr char cipherSuites[] = "ECDHE+AESGCM:ECDHE+CHACHA20";

// No session is ever taken up again and no peer can start a second handshake in a connection.
constexpr std::uint64_t options =
    SSL_OP_NO_TICKET | SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION;
// Idle connections hold no record buffers. What is sent with a certificate is what lies beside it,
// not what a search in the trust anchors would turn up.
constexpr long modes = SSL_MODE_RELEASE_BUFFERS | SSL_MODE_NO_AUTO_CHAIN;

// A client's certificate is the host's to judge, after the handshake. What is checked here is only
// that the client holds its key.
int takeAnyCertificate(X509_STORE_CTX*, void*) {
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

void applyClientSettings(SSL_CTX* context, X509_STORE* anchors) {
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set1_cert_store(context, anchors);
    requireSuccess("SSL_CTX_set_purpose",
                   SSL_CTX_set_purpose(context, X509_PURPOSE_SSL_SERVER) == 1);
}

BorrowingStack stackOf(const std::vector<X509*>& certificates) {
    auto stack = orOutOfMemory(BorrowingStack(sk_X509_new_null()));
    for (X509* certificate : certificates) {
        if (sk_X509_push(stack.get(), certificate) == 0) {
            throw std::bad_alloc();
        }
    }
    return stack;
}

// Why OpenSSL doesn't take a certificate: too weak, no memory, another certificate's key, or of no
// use for TLS.
SECURITY_STATUS statusOfRefusedCertificate() {
    const SECURITY_STATUS status = statusOfFailure("SSL_CTX_use_cert_and_key", nullptr);
    const bool tellsWhy = status == SEC_E_ALGORITHM_MISMATCH || status == SEC_E_INSUFFICIENT_MEMORY;
    return tellsWhy ? status : SEC_E_UNKNOWN_CREDENTIALS;
}

SECURITY_STATUS applyCertificate(SSL_CTX* context, PCCERT_CONTEXT certificate) {
    const BorrowingStack helpers = stackOf(extraCertificatesOf(certificate));
    constexpr int replaceWhatIsThere = 1;
    const int taken = SSL_CTX_use_cert_and_key(
        context, x509Of(certificate), privateKeyOf(certificate), helpers.get(), replaceWhatIsThere);
    return taken == 1 ? SEC_E_OK : statusOfRefusedCertificate();
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
        SSL_CTX_set_cert_verify_callback(context.get(), takeAnyCertificate, nullptr);
    }
    const SECURITY_STATUS status =
        certificate ? applyCertificate(context.get(), certificate) : SEC_E_OK;
    if (status == SEC_E_OK) {
        made = std::move(context);
    }
    return status;
}

} // namespace VexaSsl::openssl
