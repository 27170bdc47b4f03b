// The library, used as a host does: one configuration, and a stack for each connection.
#include "Contender.h"
#include "Loopback.h"

#include <VexaPlatform/Certificates.h>
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/VexaSsl.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace VexaSsl::bench {

namespace {

// Drops every line, as a host does with lines below its threshold.
class SilentLog : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

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
    std::size_t recv(char* data, std::size_t size) override {
        const int received = stack->recv(socket, data, static_cast<int>(size), 0);
        if (received <= 0) {
            throw std::runtime_error("recv");
        }
        return static_cast<std::size_t>(received);
    }

private:
    std::unique_ptr<ISocketStrategy> stack;
    SOCKET socket = INVALID_SOCKET;
};

class VexaSslContender : public Contender {
public:
    explicit VexaSslContender(bool encrypting)
        : config(constructDefaultSslConfiguration(log, L"benchmark")) {
        config->setValue(L"UseEncryption", encrypting ? L"True" : L"False");
    }

    void setTerms(const Terms& terms) override {
        platform::setCertificateFolder(terms.folder);
        config->setValue(L"ServerCertificateToSendName", convertNarrowToWide(terms.subject));
    }
    std::unique_ptr<Connection> connect(std::uint16_t port) override {
        auto made = std::make_unique<StackConnection>(log, *config);
        made->connect(port);
        return made;
    }
    std::unique_ptr<Connection> accept(int listener) override {
        auto made = std::make_unique<StackConnection>(log, *config);
        made->accept(listener);
        return made;
    }

private:
    SilentLog log;
    std::unique_ptr<IConfig> config;
};

const Registration encrypted({0, "VexaSsl", Field::everything,
                              [] { return std::make_unique<VexaSslContender>(true); }});
const Registration plain({60, "VexaSsl, plain stack", Field::transfers,
                          [] { return std::make_unique<VexaSslContender>(false); }});

} // namespace

} // namespace VexaSsl::bench
