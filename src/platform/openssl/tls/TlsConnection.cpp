#include "platform/openssl/tls/TlsConnection.h"

#include "platform/openssl/stores/OpenSslFailure.h"

#include <mutex>

namespace VexaSsl::openssl {
namespace {

// Called when the server requests a certificate. A negative result suspends the handshake.
int provideCertificate(SSL*, void* context) noexcept {
    constexpr int continueHandshake = 1;
    constexpr int suspendHandshake = -1;
    return static_cast<const TlsConnection*>(context)->mayContinueWithoutCertificate
               ? continueHandshake
               : suspendHandshake;
}

} // namespace

TlsConnection::TlsConnection(const Credentials& credentials)
    : role(credentials.role),
      ssl(requireResult("SSL_new", SslPointer(SSL_new(credentials.settings.get())))) {
    BIO* bio = memoryBio.makeBio().release();
    SSL_set_bio(ssl.get(), bio, bio);
    if (role == Role::server) {
        SSL_set_accept_state(ssl.get());
        return;
    }
    SSL_set_connect_state(ssl.get());
    if (!credentials.validatesServer) {
        SSL_set_verify(ssl.get(), SSL_VERIFY_NONE, nullptr);
    }
    if (!credentials.hasCertificate) {
        SSL_set_cert_cb(ssl.get(), provideCertificate, this);
    }
}

SECURITY_STATUS TlsConnection::fail(SECURITY_STATUS status) noexcept {
    SECURITY_STATUS noFailure = SEC_E_OK;
    failure.compare_exchange_strong(noFailure, status);
    stage = Stage::failed;
    return status;
}

// fail comes first: EncryptMessage checks the stage before it uses the sealer.
SECURITY_STATUS TlsConnection::failAndWipeKeys(SECURITY_STATUS status) noexcept {
    fail(status);
    opener.reset();
    const std::lock_guard lock(sendMutex);
    sealer.reset();
    return status;
}

bool TlsConnection::hasPeerCertificate() const noexcept {
    return ssl ? SSL_get0_peer_certificate(ssl.get()) != nullptr : !peer.leaf.empty();
}

} // namespace VexaSsl::openssl
