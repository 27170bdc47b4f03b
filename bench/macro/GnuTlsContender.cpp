// GnuTLS, which reads and writes the socket itself.
#include "Contender.h"
#include "Loopback.h"

#include <gnutls/gnutls.h>

#include <map>
#include <stdexcept>
#include <utility>

namespace VexaSsl::bench {

namespace {

int orError(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + gnutls_strerror(result));
    }
    return result;
}

// Returns the terms as a GnuTLS priority string.
std::string priorityOf(const Terms& terms) {
    static const std::map<std::string, std::string> names{
        {"ECDHE-RSA-AES256-GCM-SHA384", "+ECDHE-RSA:+AES-256-GCM"},
        {"ECDHE-ECDSA-AES256-GCM-SHA384", "+ECDHE-ECDSA:+AES-256-GCM"},
        {"ECDHE-RSA-AES128-GCM-SHA256", "+ECDHE-RSA:+AES-128-GCM"},
        {"ECDHE-ECDSA-AES128-GCM-SHA256", "+ECDHE-ECDSA:+AES-128-GCM"},
        {"ECDHE-RSA-CHACHA20-POLY1305", "+ECDHE-RSA:+CHACHA20-POLY1305"},
        {"ECDHE-ECDSA-CHACHA20-POLY1305", "+ECDHE-ECDSA:+CHACHA20-POLY1305"},
        {"X25519", "+GROUP-X25519:+GROUP-SECP256R1"}, // P-256 for the key of the certificate
        {"prime256v1", "+GROUP-SECP256R1"},
    };
    return "NONE:+VERS-TLS1.2:+AEAD:+SIGN-ALL:+COMP-NULL:+CTYPE-X509:" +
           names.at(terms.cipherSuite) + ":" + names.at(terms.group);
}

class Credentials {
public:
    Credentials() { orError(gnutls_certificate_allocate_credentials(&credentials), "credentials"); }
    ~Credentials() { gnutls_certificate_free_credentials(credentials); }
    Credentials(const Credentials&) = delete;
    Credentials& operator=(const Credentials&) = delete;

    gnutls_certificate_credentials_t get() const { return credentials; }

private:
    gnutls_certificate_credentials_t credentials = nullptr;
};

class GnuTlsConnection : public Connection {
public:
    GnuTlsConnection(unsigned role, const Credentials& credentials, const std::string& priority,
                     Descriptor connected)
        : socket(std::move(connected)) {
        orError(gnutls_init(&session, role | GNUTLS_NO_TICKETS), "init");
        orError(gnutls_priority_set_direct(session, priority.c_str(), nullptr), "priority");
        orError(gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials.get()),
                "credentials");
        gnutls_transport_set_int(session, socket.get());
    }
    ~GnuTlsConnection() override { gnutls_deinit(session); }

    void checkName() { gnutls_session_set_verify_cert(session, "127.0.0.1", 0); }
    void handshake() { orError(gnutls_handshake(session), "handshake"); }

    void send(const char* data, std::size_t size) override {
        for (std::size_t done = 0; done < size;) {
            const auto sent = gnutls_record_send(session, data + done, size - done);
            done += static_cast<std::size_t>(orError(static_cast<int>(sent), "send"));
        }
    }
    std::size_t recv(char* data, std::size_t size) override {
        const auto received = gnutls_record_recv(session, data, size);
        return static_cast<std::size_t>(
            received > 0 ? received : throw std::runtime_error("gnutls_record_recv"));
    }

private:
    Descriptor socket;
    gnutls_session_t session = nullptr;
};

class GnuTlsContender : public Contender {
public:
    void setTerms(const Terms& terms) override {
        priority = priorityOf(terms);
        client = std::make_unique<Credentials>();
        server = std::make_unique<Credentials>();
        orError(gnutls_certificate_set_x509_trust_file(client->get(), terms.trust.c_str(),
                                                       GNUTLS_X509_FMT_PEM),
                "trust");
        orError(gnutls_certificate_set_x509_key_file(server->get(), terms.certificate.c_str(),
                                                     terms.key.c_str(), GNUTLS_X509_FMT_PEM),
                "key");
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        auto made =
            std::make_unique<GnuTlsConnection>(GNUTLS_CLIENT, *client, priority, connectTo(port));
        made->checkName();
        made->handshake();
        return made;
    }
    std::unique_ptr<Connection> accept(int listener) override {
        auto made = std::make_unique<GnuTlsConnection>(GNUTLS_SERVER, *server, priority,
                                                       acceptFrom(listener));
        made->handshake();
        return made;
    }

private:
    std::string priority;
    std::unique_ptr<Credentials> client;
    std::unique_ptr<Credentials> server;
};

const Registration registration({40, "GnuTLS", Field::everything,
                                 [] { return std::make_unique<GnuTlsContender>(); }});

} // namespace

} // namespace VexaSsl::bench
