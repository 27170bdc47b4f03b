// The library, used as a host does: one configuration, and a stack for each connection.
#include "Contender.h"
#include "Loopback.h"
#include "Overlapped.h"

#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/VexaSsl.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace VexaSsl::bench {

namespace {

int orThrow(int result, const char* what) {
    if (result == SOCKET_ERROR) {
        throw std::runtime_error(what);
    }
    return result;
}

class StackConnection : public Connection {
public:
    StackConnection(ILog& log, const IConfig& config)
        : stack(instantiateSocketStrategy(log, config)) {}
    ~StackConnection() override { platform::closesocket(socket); }

    void connect(std::uint16_t port) {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (stack->getaddrinfo("127.0.0.1", std::to_string(port).c_str(), &hints, &found) != 0) {
            throw std::runtime_error("getaddrinfo");
        }
        socket = platform::socket(AF_INET, SOCK_STREAM, 0);
        setOptions(static_cast<int>(socket));
        const int result =
            stack->connect(socket, found->ai_addr, static_cast<int>(found->ai_addrlen));
        platform::freeaddrinfo(found);
        orThrow(result, "connect");
    }
    void accept(int listener) {
        socket = stack->accept(static_cast<SOCKET>(listener), nullptr, nullptr);
        if (socket == INVALID_SOCKET) {
            throw std::runtime_error("accept");
        }
    }

    void send(const char* data, std::size_t size) override {
        for (std::size_t done = 0; done < size;) {
            done += static_cast<std::size_t>(orThrow(
                stack->send(socket, data + done, static_cast<int>(size - done), 0), "send"));
        }
    }
    std::size_t recv(char* data, std::size_t size) override { return receive(data, size, 0); }
    void recvAll(char* data, std::size_t size) override {
        if (receive(data, size, waitAll) != size) {
            throw std::runtime_error("recv with MSG_WAITALL");
        }
    }

protected:
    std::unique_ptr<ISocketStrategy> stack;
    SOCKET socket = INVALID_SOCKET;

private:
    static constexpr int waitAll = 8; // Winsock's number

    std::size_t receive(char* data, std::size_t size, int flags) {
        const int received = stack->recv(socket, data, static_cast<int>(size), flags);
        if (received <= 0) {
            throw std::runtime_error("recv");
        }
        return static_cast<std::size_t>(received);
    }
};

// Receives overlapped once it is connected.
class OverlappedStackConnection : public StackConnection {
public:
    using StackConnection::StackConnection;

    void startReceives(const CompletionPort* port) { receiver.emplace(socket, port); }

    // What was posted in advance is received first, at most size bytes.
    std::size_t recv(char* data, std::size_t size) override {
        const bool inAdvance = receiver->isPosted();
        std::size_t received = 0;
        while (received == 0) {
            if (!receiver->isPosted()) {
                receiver->post(*stack, inAdvance ? waiting.data() : data, size);
            }
            received = receiver->finish(*stack);
        }
        if (inAdvance) {
            std::copy_n(waiting.data(), received, data);
        }
        return received;
    }
    void postReceive() override { receiver->post(*stack, waiting.data(), waiting.size()); }

private:
    std::optional<OverlappedReceive> receiver;
    std::array<char, 1024> waiting; // for the receive that is posted in advance
};

class VexaSslContender : public Contender {
public:
    explicit VexaSslContender(bool encrypting)
        : config(constructDefaultSslConfiguration(log, L"benchmark")) {
        config->setValue(L"UseEncryption", encrypting ? L"True" : L"False");
    }

    void setTerms(const Terms& terms) override {
        receiving = terms.receiving;
        ports.prepare(terms);
        platform::setCertificateFolder(terms.folder);
        config->setValue(L"ServerCertificateToSendName", convertNarrowToWide(terms.subject));
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        return make([port](StackConnection& made) { made.connect(port); }, ports.client.get());
    }
    std::unique_ptr<Connection> accept(int listener) override {
        return make([listener](StackConnection& made) { made.accept(listener); },
                    ports.server.get());
    }

private:
    template <typename Establish>
    std::unique_ptr<Connection> make(Establish establish, const CompletionPort* port) {
        if (receiving == Receiving::blocking) {
            auto made = std::make_unique<StackConnection>(log, *config);
            establish(*made);
            return made;
        }
        auto made = std::make_unique<OverlappedStackConnection>(log, *config);
        establish(*made);
        made->startReceives(port);
        return made;
    }

    SilentLog log;
    std::unique_ptr<IConfig> config;
    Receiving receiving = Receiving::blocking;
    CompletionPorts ports;
};

const Registration encrypted({0, "VexaSsl", Field::everything,
                              [] { return std::make_unique<VexaSslContender>(true); }});
const Registration plain({60, "VexaSsl, plain stack", Field::transfers,
                          [] { return std::make_unique<VexaSslContender>(false); }});

} // namespace

} // namespace VexaSsl::bench
