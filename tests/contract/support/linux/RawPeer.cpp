#include "contract/support/RawPeer.h"

#include "CertificateFolder.h"
#include "RawPeerState.h"

#include <openssl/err.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

int versionOf(Protocol protocol) {
    switch (protocol) {
    case Protocol::tls11:
        return TLS1_1_VERSION;
    case Protocol::tls12:
        return TLS1_2_VERSION;
    case Protocol::tls13:
        return TLS1_3_VERSION;
    case Protocol::any:
        break;
    }
    return 0;
}

void useCertificate(SSL_CTX* context, const std::string& name) {
    SSL_CTX_use_certificate_chain_file(context, certificateFile(name, "chain").c_str());
    SSL_CTX_use_PrivateKey_file(context, certificateFile(name, "key").c_str(), SSL_FILETYPE_PEM);
}

void apply(const PeerSettings& settings, SSL_CTX* context) {
    if (settings.only != Protocol::any) {
        SSL_CTX_set_security_level(context, 0); // the default level refuses TLS 1.1
        SSL_CTX_set_min_proto_version(context, versionOf(settings.only));
        SSL_CTX_set_max_proto_version(context, versionOf(settings.only));
    } else if (!settings.suites.empty() || settings.renegotiates) {
        SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
    }
    if (!settings.suites.empty()) {
        SSL_CTX_set_cipher_list(context, settings.suites.c_str());
    }
    if (settings.smallRecords) {
        SSL_CTX_set_tlsext_max_fragment_length(context, TLSEXT_max_fragment_length_1024);
    }
    if (settings.renegotiates) {
        SSL_CTX_set_options(context, SSL_OP_ALLOW_CLIENT_RENEGOTIATION);
    }
}

// Called on a server; stores the requested server name.
int noteName(SSL* ssl, int*, void* place) {
    if (const char* name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name)) {
        *static_cast<std::string*>(place) = name;
    }
    return SSL_TLSEXT_ERR_OK;
}

// Called on a client that is asked for a certificate; stores the number of authorities.
int noteAuthorities(SSL* ssl, void* place) {
    const STACK_OF(X509_NAME)* list = SSL_get_client_CA_list(ssl);
    *static_cast<int*>(place) = list ? sk_X509_NAME_num(list) : 0;
    return 1;
}

Bytes outgoing(SSL* ssl) {
    BIO* out = SSL_get_wbio(ssl);
    Bytes bytes(BIO_ctrl_pending(out));
    if (!bytes.empty()) {
        BIO_read(out, bytes.data(), static_cast<int>(bytes.size()));
    }
    return bytes;
}

} // namespace

RawPeer::RawPeer(bool isServer, const PeerSettings& settings) : state(std::make_unique<State>()) {
    state->context.reset(SSL_CTX_new(isServer ? TLS_server_method() : TLS_client_method()));
    SSL_CTX* const context = state->context.get();
    if (!settings.certificate.empty()) {
        useCertificate(context, settings.certificate);
    }
    apply(settings, context);
    SSL_CTX_set_tlsext_servername_arg(context, &state->requestedName);
    SSL_CTX_set_tlsext_servername_callback(context, noteName);
    state->ssl.reset(SSL_new(context));
    SSL* const ssl = state->ssl.get();
    SSL_set_bio(ssl, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    BIO_set_mem_eof_return(SSL_get_rbio(ssl), -1);
    if (isServer) {
        SSL_set_accept_state(ssl);
    } else {
        SSL_set_connect_state(ssl);
        SSL_set_cert_cb(ssl, noteAuthorities, &state->namedAuthorities);
    }
    ERR_clear_error();
}

RawPeer::RawPeer(RawPeer&& other) noexcept = default;
RawPeer::~RawPeer() = default;

RawPeer RawPeer::client(const PeerSettings& settings) {
    return {false, settings};
}

RawPeer RawPeer::server(const std::string& certificate, const PeerSettings& settings) {
    PeerSettings all = settings;
    all.certificate = certificate;
    return {true, all};
}

void RawPeer::incoming(const Bytes& received) {
    if (!received.empty()) {
        BIO_write(SSL_get_rbio(state->ssl.get()), received.data(),
                  static_cast<int>(received.size()));
    }
}

Bytes RawPeer::step(const Bytes& received) {
    incoming(received);
    SSL_do_handshake(state->ssl.get());
    ERR_clear_error();
    return outgoing(state->ssl.get());
}

bool RawPeer::established() const {
    return SSL_is_init_finished(state->ssl.get()) == 1;
}

Bytes RawPeer::protect(const std::string& text) {
    if (SSL_write(state->ssl.get(), text.data(), static_cast<int>(text.size())) <= 0) {
        throw std::runtime_error("the peer cannot send");
    }
    return outgoing(state->ssl.get());
}

std::string RawPeer::open(const Bytes& received) {
    std::string text = openOne(received);
    for (std::string more = text; !more.empty(); text += more) {
        more = openOne({});
    }
    return text;
}

std::string RawPeer::openOne(const Bytes& received) {
    incoming(received);
    char piece[16384];
    const int count = SSL_read(state->ssl.get(), piece, sizeof piece);
    ERR_clear_error();
    return {piece, static_cast<std::size_t>(count > 0 ? count : 0)};
}

Bytes RawPeer::sendClosure() {
    SSL_shutdown(state->ssl.get());
    return outgoing(state->ssl.get());
}

Bytes RawPeer::renegotiate() {
    SSL_renegotiate(state->ssl.get());
    return step();
}

bool RawPeer::speaksTls12() const {
    return SSL_version(state->ssl.get()) == TLS1_2_VERSION;
}

bool RawPeer::receivedClosure() const {
    return (SSL_get_shutdown(state->ssl.get()) & SSL_RECEIVED_SHUTDOWN) != 0;
}

std::string RawPeer::requestedName() const {
    return state->requestedName;
}

int RawPeer::namedAuthorities() const {
    return state->namedAuthorities;
}

void RawPeer::offerSessionOf(const RawPeer& other) {
    SSL_set_session(state->ssl.get(), SSL_get_session(other.state->ssl.get()));
}

bool RawPeer::hasTicket() const {
    return SSL_SESSION_has_ticket(SSL_get_session(state->ssl.get())) == 1;
}

bool RawPeer::resumedSession() const {
    return SSL_session_reused(state->ssl.get()) == 1;
}

} // namespace VexaSsl::test
