// OpenSSL used directly: SSL_set_fd, SSL_write, SSL_read. Once with one context for all connections
// and once with a new context for each, which corresponds to new credentials for each connection.
#include "Contender.h"
#include "Loopback.h"
#include "OpenSslSettings.h"
#include "Overlapped.h"

#include <array>
#include <openssl/x509v3.h>
#include <optional>
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

protected:
    Descriptor socket;
    SslPointer ssl;
};

// Works over memory BIOs once the handshake is over, with overlapped receives.
class OverlappedOpenSslConnection : public OpenSslConnection {
public:
    using OpenSslConnection::OpenSslConnection;
    // As every socket with overlapped receives: the next one with this number must not be taken for
    // it.
    ~OverlappedOpenSslConnection() override {
        platform::closesocket(static_cast<SOCKET>(socket.release()));
    }

    void startReceives(const CompletionPort* port) {
        receiver.emplace(static_cast<SOCKET>(socket.get()), port);
        SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    }

    void send(const char* data, std::size_t size) override {
        OpenSslConnection::send(data, size);
        BIO* const output = SSL_get_wbio(ssl.get());
        char* records = nullptr;
        const long count = BIO_get_mem_data(output, &records);
        sendAll(socket.get(), records, static_cast<std::size_t>(count));
        BIO_reset(output);
    }
    std::size_t recv(char* data, std::size_t size) override {
        std::size_t received = 0;
        while (SSL_read_ex(ssl.get(), data, size, &received) != 1) {
            if (!receiver->isPosted()) {
                postReceive();
            }
            const std::size_t count = receiver->finish(*stack);
            BIO_write(SSL_get_rbio(ssl.get()), wire.data(), static_cast<int>(count));
        }
        return received;
    }
    void postReceive() override { receiver->post(*stack, wire.data(), wire.size()); }

private:
    std::unique_ptr<ISocketStrategy> stack = makePlainStack();
    std::optional<OverlappedReceive> receiver;
    std::array<char, 65536> wire;
};

class OpenSslContender : public Contender {
public:
    void setTerms(const Terms& agreed) override {
        client = makeClientContext(agreed);
        server = makeServerContext(agreed);
        receiving = agreed.receiving;
        ports.prepare(agreed);
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        if (receiving == Receiving::blocking) {
            return connected<OpenSslConnection>(client.get(), port);
        }
        auto made = connected<OverlappedOpenSslConnection>(client.get(), port);
        made->startReceives(ports.client.get());
        return made;
    }
    std::unique_ptr<Connection> accept(int listener) override {
        if (receiving == Receiving::blocking) {
            return accepted<OpenSslConnection>(server.get(), listener);
        }
        auto made = accepted<OverlappedOpenSslConnection>(server.get(), listener);
        made->startReceives(ports.server.get());
        return made;
    }

protected:
    template <typename Made>
    static std::unique_ptr<Made> connected(SSL_CTX* context, std::uint16_t port) {
        auto made = std::make_unique<Made>(context, connectTo(port));
        made->connect();
        return made;
    }
    template <typename Made>
    static std::unique_ptr<Made> accepted(SSL_CTX* context, int listener) {
        auto made = std::make_unique<Made>(context, acceptFrom(listener));
        made->accept();
        return made;
    }

private:
    ContextPointer client;
    ContextPointer server;
    Receiving receiving = Receiving::blocking;
    CompletionPorts ports;
};

class FreshOpenSslContender : public OpenSslContender {
public:
    void setTerms(const Terms& agreed) override { terms = agreed; }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return connected<OpenSslConnection>(makeClientContext(terms).get(), port);
    }
    std::unique_ptr<Connection> accept(int listener) override {
        return accepted<OpenSslConnection>(makeServerContext(terms).get(), listener);
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
