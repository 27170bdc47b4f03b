// The counterpart is OpenSSL with a separate context.
#include "tampering/Counterpart.h"

#include "contract/support/TestCertificates.h"
#include "contract/support/linux/RawPeerState.h"

#include <openssl/x509.h>

namespace VexaSsl::test {

namespace {

RawPeer makePeer(const ConnectionSetup& setup) {
    PeerSettings settings;
    settings.suites = setup.suite;
    if (!setup.asServer) {
        return RawPeer::server(setup.serverCase(), settings);
    }
    settings.certificate = setup.mutual ? setup.clientCase() : "";
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

const PackageBehaviour& packageBehaviour() {
    static constexpr PackageBehaviour habits{.altered = SEC_E_MESSAGE_ALTERED,
                                             .checksHeaders = true,
                                             .reportsCipherSuites = true,
                                             .endsStream = true};
    return habits;
}

Bytes certificateOf(const std::string& name) {
    const StoreCertificate shown(name);
    return {shown.get()->pbCertEncoded, shown.get()->pbCertEncoded + shown.get()->cbCertEncoded};
}

Counterpart::Counterpart(const ConnectionSetup& setup)
    : state(std::make_unique<State>(State{makePeer(setup)})) {
    if (setup.mutual && !setup.asServer) {
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
