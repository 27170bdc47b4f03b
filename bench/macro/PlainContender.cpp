// TCP without TLS: the cost of the sockets alone.
#include "Contender.h"
#include "Loopback.h"

#include <utility>

namespace VexaSsl::bench {

namespace {

class PlainConnection : public Connection {
public:
    explicit PlainConnection(Descriptor connected) : socket(std::move(connected)) {}

    void send(const char* data, std::size_t size) override { sendAll(socket.get(), data, size); }
    std::size_t recv(char* data, std::size_t size) override {
        return receiveSome(socket.get(), data, size);
    }

private:
    Descriptor socket;
};

class PlainContender : public Contender {
public:
    void setTerms(const Terms&) override {}
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return std::make_unique<PlainConnection>(connectTo(port));
    }
    std::unique_ptr<Connection> accept(int listener) override {
        return std::make_unique<PlainConnection>(acceptFrom(listener));
    }
};

const Registration registration({70, "plain TCP", Field::transfers,
                                 [] { return std::make_unique<PlainContender>(); }});

} // namespace

} // namespace VexaSsl::bench
