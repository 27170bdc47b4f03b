// Boost.Asio's ssl::stream, with blocking calls.
#include "Contender.h"
#include "Loopback.h"
#include "OpenSslSettings.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>

#include <optional>
#include <utility>

namespace VexaSsl::bench {

namespace {

namespace asio = boost::asio;
using Stream = asio::ssl::stream<asio::ip::tcp::socket>;

class BoostConnection : public Connection {
public:
    BoostConnection(asio::io_context& io, asio::ssl::context& context, Descriptor connected)
        : stream(io, context) {
        stream.next_layer().assign(asio::ip::tcp::v4(), connected.release());
    }

    void handshake(Stream::handshake_type role) { stream.handshake(role); }
    void checkName() { stream.set_verify_callback(asio::ssl::host_name_verification("127.0.0.1")); }

    void send(const char* data, std::size_t size) override {
        asio::write(stream, asio::buffer(data, size));
    }
    std::size_t recv(char* data, std::size_t size) override {
        return stream.read_some(asio::buffer(data, size));
    }

private:
    Stream stream;
};

class BoostContender : public Contender {
public:
    void setTerms(const Terms& terms) override {
        client.emplace(asio::ssl::context::tlsv12_client);
        applyTerms(client->native_handle(), terms);
        client->set_verify_mode(asio::ssl::verify_peer);
        client->load_verify_file(terms.trust.string());
        server.emplace(asio::ssl::context::tlsv12_server);
        applyTerms(server->native_handle(), terms);
        server->use_certificate_chain_file(terms.certificate.string());
        server->use_private_key_file(terms.key.string(), asio::ssl::context::pem);
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        auto made = std::make_unique<BoostConnection>(io, *client, connectTo(port));
        made->checkName();
        made->handshake(Stream::client);
        return made;
    }
    std::unique_ptr<Connection> accept(int listener) override {
        auto made = std::make_unique<BoostConnection>(io, *server, acceptFrom(listener));
        made->handshake(Stream::server);
        return made;
    }

private:
    asio::io_context io;
    std::optional<asio::ssl::context> client;
    std::optional<asio::ssl::context> server;
};

const Registration registration({20, "Boost.Asio ssl::stream", Field::everything,
                                 [] { return std::make_unique<BoostContender>(); }});

} // namespace

} // namespace VexaSsl::bench
