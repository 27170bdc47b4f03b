// POCO's SecureStreamSocket.
#include "Contender.h"
#include "Loopback.h"
#include "OpenSslSettings.h"

#include <Poco/Net/Context.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>

#include <stdexcept>
#include <utility>

namespace VexaSsl::bench {

namespace {

using Poco::Net::SecureStreamSocket;
using Poco::Net::StreamSocket;
using SslContext = Poco::Net::Context;

StreamSocket streamOf(Descriptor connected) {
    return StreamSocket(new Poco::Net::StreamSocketImpl(connected.release()));
}

class PocoConnection : public Connection {
public:
    explicit PocoConnection(SecureStreamSocket secured) : socket(std::move(secured)) {}

    void handshake() {
        if (socket.completeHandshake() != 1) {
            throw std::runtime_error("POCO handshake");
        }
    }

    void send(const char* data, std::size_t size) override {
        for (std::size_t done = 0; done < size;) {
            const int sent = socket.sendBytes(data + done, static_cast<int>(size - done));
            done += static_cast<std::size_t>(sent > 0 ? sent : throw std::runtime_error("send"));
        }
    }
    std::size_t recv(char* data, std::size_t size) override {
        const int received = socket.receiveBytes(data, static_cast<int>(size));
        return static_cast<std::size_t>(received > 0 ? received : throw std::runtime_error("recv"));
    }

private:
    SecureStreamSocket socket;
};

SslContext::Params parametersOf(const Terms& terms) {
    SslContext::Params parameters;
    parameters.caLocation = terms.trust.string();
    parameters.verificationMode = SslContext::VERIFY_RELAXED;
    parameters.loadDefaultCAs = false;
    parameters.cipherList = terms.cipherSuites;
    return parameters;
}

SslContext::Ptr made(SslContext::Usage usage, const SslContext::Params& parameters,
                     const Terms& terms) {
    SslContext::Ptr context(new SslContext(usage, parameters));
    applyTerms(context->sslContext(), terms);
    // Newer versions of POCO wait for the peer's closure in an orderly shutdown.
    SSL_CTX_set_quiet_shutdown(context->sslContext(), 1);
    return context;
}

class PocoContender : public Contender {
public:
    PocoContender() { Poco::Net::initializeSSL(); }
    ~PocoContender() override {
        client = nullptr;
        server = nullptr;
        Poco::Net::uninitializeSSL();
    }

    void setTerms(const Terms& terms) override {
        SslContext::Params parameters = parametersOf(terms);
        client = made(SslContext::TLSV1_2_CLIENT_USE, parameters, terms);
        parameters.certificateFile = terms.certificate.string();
        parameters.privateKeyFile = terms.key.string();
        parameters.verificationMode = SslContext::VERIFY_NONE;
        server = made(SslContext::TLSV1_2_SERVER_USE, parameters, terms);
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return std::make_unique<PocoConnection>(
            SecureStreamSocket::attach(streamOf(connectTo(port)), "127.0.0.1", client));
    }
    std::unique_ptr<Connection> accept(int listener) override {
        auto accepted = std::make_unique<PocoConnection>(
            SecureStreamSocket::attach(streamOf(acceptFrom(listener)), server));
        accepted->handshake();
        return accepted;
    }

private:
    SslContext::Ptr client;
    SslContext::Ptr server;
};

const Registration registration({30, "POCO SecureStreamSocket", Field::everything,
                                 [] { return std::make_unique<PocoContender>(); }});

} // namespace

} // namespace VexaSsl::bench
