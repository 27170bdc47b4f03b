// A host compiled against the fixed order of virtual operations: every call must reach the
// operation meant. The log layer names some operations in its lines; the others are recognised by
// their effect.
#include "SlotOrder.h"

#include <VexaPlatform/HostSockets.h>

#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace VexaSsl;

class Lines : public ILog {
public:
    void log(Severity, const std::wstring& text) override { all.push_back(text); }
    void setMinimumSeverity(Severity severity) override { threshold = severity; }
    std::vector<std::wstring> all;
    Severity threshold = Severity::Fatal;
};

void expect(bool well, const char* operation) {
    if (!well) {
        throw std::runtime_error(std::string(operation) + " isn't where it was");
    }
}

void expectLine(const Lines& lines, const wchar_t* operation) {
    expect(!lines.all.empty() && lines.all.back().find(operation) != std::wstring::npos,
           "an operation of the log layer");
}

struct Pair {
    SOCKET listener = platform::socket(AF_INET, SOCK_STREAM, 0);
    SOCKET client = platform::socket(AF_INET, SOCK_STREAM, 0);
    SOCKET server = INVALID_SOCKET;
    ~Pair() {
        platform::closesocket(listener);
        platform::closesocket(client);
        platform::closesocket(server);
    }
};

sockaddr_in listenOn(SOCKET listener) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* place = reinterpret_cast<sockaddr*>(&address);
    expect(platform::bind(listener, place, sizeof address) == 0, "bind");
    expect(platform::listen(listener, 1) == 0, "listen");
    getsockname(static_cast<int>(listener), place, &length);
    return address;
}

void resolve(ISocketStrategy& strategy) {
    addrinfo* narrow = nullptr;
    expect(strategy.getaddrinfo("127.0.0.1", "7", nullptr, &narrow) == 0 && narrow, "getaddrinfo");
    platform::freeaddrinfo(narrow);
    ADDRINFOW* wide = nullptr;
    expect(strategy.GetAddrInfoW(L"127.0.0.1", L"7", nullptr, &wide) == 0 && wide, "GetAddrInfoW");
    platform::FreeAddrInfoW(wide);
}

void transfer(ISocketStrategy& client, ISocketStrategy& server, const Pair& pair,
              const Lines& lines) {
    expect(client.send(pair.client, "ab", 2, 0) == 2, "send");
    expectLine(lines, L"send");
    VexaSsl::fd_set readable{};
    platform::socketSetAdd(pair.server, readable);
    const timeval timeout{10, 0};
    expect(server.select(0, &readable, nullptr, nullptr, &timeout) == 1, "select");
    char bytes[2] = {};
    expect(server.recv(pair.server, bytes, 2, msgWaitAll) == 2 && bytes[1] == 'b', "recv");
    expectLine(lines, L"recv");
    WSABUF more{2, bytes};
    DWORD count = 0;
    expect(client.WSASend(pair.client, &more, 1, &count, 0, nullptr, nullptr) == 0 && count == 2,
           "WSASend");
    expectLine(lines, L"WSASend");
    DWORD flags = 0;
    std::memset(bytes, 0, sizeof bytes);
    expect(server.WSARecv(pair.server, &more, 1, &count, &flags, nullptr, nullptr) == 0, "WSARecv");
    expect(bytes[1] == 'b', "WSARecv");
    count = 2;
    expect(server.completeWSARecv(0, &count, nullptr) == 0, "completeWSARecv");
    expectLine(lines, L"WSARecv");
}

void talk(const IConfig& config, Lines& lines) {
    const auto client = instantiateSocketStrategy(lines, config);
    const auto server = instantiateSocketStrategy(lines, config);
    expect(lines.threshold == Severity::Debug, "setMinimumSeverity");
    resolve(*client);
    Pair pair;
    const sockaddr_in address = listenOn(pair.listener);
    const auto* place = reinterpret_cast<const sockaddr*>(&address);
    expect(client->connect(pair.client, place, sizeof address) == 0, "connect");
    pair.server = server->accept(pair.listener, nullptr, nullptr);
    expect(pair.server != INVALID_SOCKET, "accept");
    expect(server->completeAcceptEx() == 0, "completeAcceptEx");
    transfer(*client, *server, pair, lines);

    // The remaining ones fail differently on an invalid socket.
    expect(client->WSAConnect(INVALID_SOCKET, place, sizeof address, nullptr, nullptr, nullptr,
                              nullptr) == SOCKET_ERROR,
           "WSAConnect");
    expect(server->WSAAccept(INVALID_SOCKET, nullptr, nullptr, nullptr, 0) == INVALID_SOCKET,
           "WSAAccept");
    OVERLAPPED state{};
    DWORD count = 0;
    char space[2 * (sizeof(sockaddr_storage) + 16)];
    expect(server->AcceptEx(INVALID_SOCKET, INVALID_SOCKET, space, 0, sizeof space / 2,
                            sizeof space / 2, &count, &state) == FALSE,
           "AcceptEx");
}

} // namespace

int main() {
    try {
        Lines lines;
        const auto config = constructDefaultSslConfiguration(lines, L"old host");
        config->setValue(L"InjectLogLayers", L"True");
        config->setValue(L"MinimumSeverityToLog", L"Debug");
        expect(config->getValue(L"InjectLogLayers") == L"True", "getValue");
        talk(*config, lines);
        std::cout << "every operation is where it was\n";
        return 0;
    } catch (const std::exception& fault) {
        std::cerr << fault.what() << "\n";
        return 1;
    }
}
