// OpenSSL used directly: SSL_set_fd, SSL_write, SSL_read. Once with one context for all connections
// and once with a new context for each, which corresponds to new credentials for each connection.
#include "Contender.h"
#include "Loopback.h"
#include "OpenSslSettings.h"

#include <openssl/x509v3.h>
#include <stdexcept>
#include <utility>

namespace VexaSsl::bench {

namespace {

class OpenSslConnection : public Connection {
public:
    OpenSslConnection(SSL_CTX* context, Descriptor connected)
        : socket(std::move(connected)), ssl(SSL_new(context)) {
        checkOpenSsl(SSL_set_fd(ssl.get(), socket.get()), "SSL_set_fd");
    }

    void connect() {
        X509_VERIFY_PARAM* const checks = SSL_get0_param(ssl.get());
        checkOpenSsl(X509_VERIFY_PARAM_set1_ip_asc(checks, "127.0.0.1"), "name");
        checkOpenSsl(SSL_connect(ssl.get()), "SSL_connect");
    }
    void accept() { checkOpenSsl(SSL_accept(ssl.get()), "SSL_accept"); }

    void send(const char* data, std::size_t size) override {
        std::size_t sent = 0;
        checkOpenSsl(SSL_write_ex(ssl.get(), data, size, &sent), "SSL_write");
    }
    std::size_t recv(char* data, std::size_t size) override {
        std::size_t received = 0;
        checkOpenSsl(SSL_read_ex(ssl.get(), data, size, &received), "SSL_read");
        return received;
    }

private:
    Descriptor socket;
    SslPointer ssl;
};

class OpenSslContender : public Contender {
public:
    void setTerms(const Terms& agreed) override {
        client = makeClientContext(agreed);
        server = makeServerContext(agreed);
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return connected(client.get(), port);
    }
    std::unique_ptr<Connection> accept(int listener) override {
        return accepted(server.get(), listener);
    }

protected:
    static std::unique_ptr<Connection> connected(SSL_CTX* context, std::uint16_t port) {
        auto made = std::make_unique<OpenSslConnection>(context, connectTo(port));
        made->connect();
        return made;
    }
    static std::unique_ptr<Connection> accepted(SSL_CTX* context, int listener) {
        auto made = std::make_unique<OpenSslConnection>(context, acceptFrom(listener));
        made->accept();
        return made;
    }

private:
    ContextPointer client;
    ContextPointer server;
};

class FreshOpenSslContender : public OpenSslContender {
public:
    void setTerms(const Terms& agreed) override { terms = agreed; }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return connected(makeClientContext(terms).get(), port);
    }
    std::unique_ptr<Connection> accept(int listener) override {
        return accepted(makeServerContext(terms).get(), listener);
    }

private:
    Terms terms;
};

const Registration shared({10, "raw OpenSSL", Field::everything,
                           [] { return std::make_unique<OpenSslContender>(); }});
const Registration fresh({11, "raw OpenSSL, a context per connection", Field::handshakes,
                          [] { return std::make_unique<FreshOpenSslContender>(); }});

} // namespace

} // namespace VexaSsl::bench
