#include "Secured.h"

#include "../macro/Certificates.h"
#include "../macro/Loopback.h"

#include "VexaPlatform/Certificates.h"
#include "VexaPlatform/HostSockets.h"
#include "VexaSsl/Configuration.h"
#include "secure/SecureSocketStrategy.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <cstring>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <utility>

namespace VexaSsl::bench {

namespace {

SilentLog& silentLog() {
    static SilentLog log;
    return log;
}

class WireStrategy : public UnsecureSocketStrategy {
public:
    explicit WireStrategy(std::shared_ptr<Wire> wire)
        : UnsecureSocketStrategy(silentLog()), wire(std::move(wire)) {}

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override {
        if (wire->isNetwork) {
            return UnsecureSocketStrategy::send(s, buf, len, flags);
        }
        if (wire->collects) {
            wire->collected.append(buf, static_cast<std::size_t>(len));
        }
        return len;
    }
    // A piece fits one read: the library reads up to a full record at a time.
    int recv(SOCKET s, char* buf, int len, int flags) noexcept override {
        if (wire->isNetwork) {
            return UnsecureSocketStrategy::recv(s, buf, len, flags);
        }
        if (wire->pieces.empty() || wire->pieces.back().size() > static_cast<std::size_t>(len)) {
            return SOCKET_ERROR;
        }
        const std::size_t size = wire->pieces.back().size();
        std::memcpy(buf, wire->pieces.back().data(), size);
        wire->pieces.pop_back();
        return static_cast<int>(size);
    }
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) noexcept override {
        return wire->isNetwork
                   ? UnsecureSocketStrategy::select(nfds, readfds, writefds, exceptfds, timeout)
                   : static_cast<int>(!wire->pieces.empty());
    }

private:
    std::shared_ptr<Wire> wire;
};

class Folder {
public:
    Folder() {
        name = std::filesystem::temp_directory_path() / "vexassl-bench-XXXXXX";
        if (!::mkdtemp(name.data())) {
            throw std::runtime_error("cannot create a temporary folder");
        }
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(name, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string name;
};

SecuredPair makePair() {
    makePersonalStore(temporaryFolder() + "/pair", 1);
    platform::setCertificateFolder(temporaryFolder() + "/pair");
    const auto config = constructDefaultSslConfiguration(silentLog(), L"benchmark");
    config->setValue(L"UseEncryption", L"True");
    config->setValue(L"ServerCertificateToSendName", L"number 1");
    SecuredPair pair;
    for (Secured* end : {&pair.client, &pair.server}) {
        end->stack = std::make_unique<SecureSocketStrategy>(
            silentLog(), *config, std::make_unique<WireStrategy>(end->wire));
    }
    const Descriptor listener = listenOnLoopback();
    auto accepted = std::async(std::launch::async, [&] {
        return pair.server.stack->accept(static_cast<SOCKET>(listener.get()), nullptr, nullptr);
    });
    addrinfo* found = nullptr;
    pair.client.stack->getaddrinfo("127.0.0.1", nullptr, nullptr, &found);
    platform::freeaddrinfo(found);
    const sockaddr_in address = loopbackAddress(portOf(listener.get()));
    pair.client.socket = platform::socket(AF_INET, SOCK_STREAM, 0);
    const int connected = pair.client.stack->connect(
        pair.client.socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    pair.server.socket = accepted.get();
    if (connected != 0 || pair.server.socket == INVALID_SOCKET) {
        throw std::runtime_error("the handshake failed");
    }
    pair.client.wire->isNetwork = false;
    pair.server.wire->isNetwork = false;
    return pair;
}

} // namespace

void Secured::send(const char* data, int size) {
    if (stack->send(socket, data, size, 0) != size) {
        throw std::runtime_error("send");
    }
}

int Secured::recv(char* data, int size) {
    const int received = stack->recv(socket, data, size, 0);
    return received > 0 ? received : throw std::runtime_error("recv");
}

SecuredPair& securedPair() {
    static SecuredPair pair = makePair();
    return pair;
}

const std::string& temporaryFolder() {
    static const Folder folder;
    return folder.name;
}

} // namespace VexaSsl::bench
