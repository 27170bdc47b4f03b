// The other end played by OpenSSL itself on memory, set up as a test likes, so that what the
// contract's functions make is judged by something that isn't them.
#pragma once

#include "contract/security/Side.h"

#include <openssl/ssl.h>

#include <functional>
#include <memory>

namespace VexaSsl::test {

struct FreeSslObject {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

class RawPeer {
public:
    using Setting = std::function<void(SSL_CTX*)>;

    static RawPeer client(const Setting& setting = {});
    // With the certificate and chain of one case.
    static RawPeer server(const std::string& certificate = "server-ecdsa",
                          const Setting& setting = {});

    // Takes bytes in and goes on with the handshake; what it wants to send.
    Bytes step(const Bytes& received = {});
    bool established() const { return SSL_is_init_finished(ssl.get()) == 1; }
    SSL* connection() { return ssl.get(); }
    // The reason of the last failure, 0 without one.
    int failure() const { return failed; }

    Bytes protect(const std::string& text);
    // The text of all records in the bytes.
    std::string open(const Bytes& received);
    // What is waiting to be sent, and bytes to be read.
    Bytes outgoing();
    void incoming(const Bytes& received);

private:
    RawPeer(const SSL_METHOD* method, const std::string& certificate, const Setting& setting);

    std::unique_ptr<SSL_CTX, FreeSslObject> context;
    std::unique_ptr<SSL, FreeSslObject> ssl;
    int failed = 0;
};

// Carries the tokens until neither has anything to send or one fails. The side's last status tells
// how it went.
void shakeHands(RawPeer& client, Side& server);
void shakeHands(Side& client, RawPeer& server);

} // namespace VexaSsl::test
