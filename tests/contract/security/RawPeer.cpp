#include "contract/security/RawPeer.h"

#include "contract/security/TestCertificates.h"

#include <openssl/err.h>

#include <stdexcept>

namespace VexaSsl::test {

RawPeer::RawPeer(const SSL_METHOD* method, const std::string& certificate, const Setting& setting)
    : context(SSL_CTX_new(method)) {
    if (!certificate.empty()) {
        SSL_CTX_use_certificate_chain_file(context.get(),
                                           certificateFile(certificate, "chain").c_str());
        SSL_CTX_use_PrivateKey_file(context.get(), certificateFile(certificate, "key").c_str(),
                                    SSL_FILETYPE_PEM);
    }
    if (setting)
        setting(context.get());
    ssl.reset(SSL_new(context.get()));
    SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    BIO_set_mem_eof_return(SSL_get_rbio(ssl.get()), -1);
    ERR_clear_error();
}

RawPeer RawPeer::client(const Setting& setting) {
    RawPeer peer(TLS_client_method(), "", setting);
    SSL_set_connect_state(peer.ssl.get());
    return peer;
}

RawPeer RawPeer::server(const std::string& certificate, const Setting& setting) {
    RawPeer peer(TLS_server_method(), certificate, setting);
    SSL_set_accept_state(peer.ssl.get());
    return peer;
}

Bytes RawPeer::outgoing() {
    BIO* out = SSL_get_wbio(ssl.get());
    Bytes bytes(BIO_ctrl_pending(out));
    if (!bytes.empty())
        BIO_read(out, bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

void RawPeer::incoming(const Bytes& received) {
    if (!received.empty())
        BIO_write(SSL_get_rbio(ssl.get()), received.data(), static_cast<int>(received.size()));
}

Bytes RawPeer::step(const Bytes& received) {
    incoming(received);
    const int result = SSL_do_handshake(ssl.get());
    if (result != 1 && SSL_get_error(ssl.get(), result) != SSL_ERROR_WANT_READ)
        failed = ERR_GET_REASON(ERR_peek_error());
    ERR_clear_error();
    return outgoing();
}

Bytes RawPeer::protect(const std::string& text) {
    if (SSL_write(ssl.get(), text.data(), static_cast<int>(text.size())) <= 0)
        throw std::runtime_error("the peer can't protect");
    return outgoing();
}

std::string RawPeer::open(const Bytes& received) {
    incoming(received);
    std::string text;
    char piece[4096];
    int count = 0;
    while ((count = SSL_read(ssl.get(), piece, sizeof piece)) > 0)
        text.append(piece, static_cast<std::size_t>(count));
    ERR_clear_error();
    return text;
}

void shakeHands(RawPeer& client, Side& server) {
    Bytes toServer = client.step();
    while (!toServer.empty() && server.status() != SEC_E_OK) {
        const Step step = server.receive(toServer);
        toServer = client.step(step.token);
    }
}

void shakeHands(Side& client, RawPeer& server) {
    Bytes toServer = client.step().token;
    while (!toServer.empty()) {
        const Bytes toClient = server.step(toServer);
        if (toClient.empty())
            return;
        toServer = client.receive(toClient).token;
    }
}

} // namespace VexaSsl::test
