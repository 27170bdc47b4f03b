// Here it is OpenSSL, with a context of its own.
#include "tampering/Counterpart.h"

#include "contract/support/TestCertificates.h"
#include "contract/support/linux/RawPeerState.h"

#include <openssl/x509.h>

namespace VexaSsl::test {

namespace {

RawPeer makePeer(const Casting& casting) {
    PeerSettings settings;
    settings.suites = casting.suite;
    if (!casting.asServer) {
        return RawPeer::server(casting.serverCase(), settings);
    }
    settings.certificate = casting.mutual ? casting.clientCase() : "";
    return RawPeer::client(settings);
}

int takeAny(int, X509_STORE_CTX*) {
    return 1;
}

Bytes encoded(const X509* certificate) {
    unsigned char* bytes = nullptr;
    const int size = certificate == nullptr ? 0 : i2d_X509(certificate, &bytes);
    const Bytes copy(bytes, bytes + size);
    OPENSSL_free(bytes);
    return copy;
}

} // namespace

struct Counterpart::State {
    RawPeer peer;

    SSL* ssl() const { return peer.inside().ssl.get(); }
};

const std::vector<std::string>& allSuites() {
    static const std::vector<std::string> suites = {
        "ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-AES256-GCM-SHA384",
        "ECDHE-ECDSA-CHACHA20-POLY1305", "ECDHE-RSA-AES128-GCM-SHA256",
        "ECDHE-RSA-AES256-GCM-SHA384",   "ECDHE-RSA-CHACHA20-POLY1305"};
    return suites;
}

const PackageHabits& packageHabits() {
    static constexpr PackageHabits habits{
        .altered = SEC_E_MESSAGE_ALTERED, .judgesHeaders = true, .numbersSuites = true};
    return habits;
}

Bytes certificateOf(const std::string& name) {
    const StoreCertificate shown(name);
    return {shown.get()->pbCertEncoded, shown.get()->pbCertEncoded + shown.get()->cbCertEncoded};
}

Counterpart::Counterpart(const Casting& casting)
    : state(std::make_unique<State>(State{makePeer(casting)})) {
    if (casting.mutual && !casting.asServer) {
        SSL_set_verify(state->ssl(), SSL_VERIFY_PEER, takeAny);
    }
}

Counterpart::~Counterpart() = default;

Bytes Counterpart::step(const Bytes& received) {
    return state->peer.step(received);
}

bool Counterpart::established() const {
    return state->peer.established();
}

Agreement Counterpart::agreement() const {
    SSL* const ssl = state->ssl();
    const bool isServer = SSL_is_server(ssl) == 1;
    const Bytes own = encoded(SSL_get_certificate(ssl));
    const Bytes seen = encoded(SSL_get0_peer_certificate(ssl));
    return {.version = static_cast<unsigned>(SSL_version(ssl)),
            .suite = SSL_CIPHER_get_protocol_id(SSL_get_current_cipher(ssl)),
            .serverCertificate = isServer ? own : seen,
            .clientCertificate = isServer ? seen : own};
}

Bytes Counterpart::protect(const std::string& text) {
    return state->peer.protect(text);
}

std::string Counterpart::open(const Bytes& received) {
    return state->peer.open(received);
}

} // namespace VexaSsl::test
