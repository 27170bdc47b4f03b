#include "soak/LoadServer.h"

#include "integration/support/Pki.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {

namespace {

// The timeout against silent peers, long enough for a handshake on a busy machine.
constexpr int handshakeSeconds = 20;
constexpr int silenceSeconds = 120;

void echo(ISocketStrategy& stack, SOCKET socket) {
    std::array<char, 32768> buffer;
    for (;;) {
        const int count = stack.recv(socket, buffer.data(), static_cast<int>(buffer.size()), 0);
        if (count <= 0 || stack.send(socket, buffer.data(), count, 0) != count) {
            return;
        }
    }
}

} // namespace

void serveHonestly(ISocketStrategy& stack, HostSocket& socket) {
    if (stack.completeAcceptEx() == 0) {
        setTimeouts(socket.handle(), silenceSeconds);
        echo(stack, socket.handle());
    }
}

LoadServer::LoadServer(std::size_t workers, Service service)
    : serve(std::move(service)), listening(platform::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    const sockaddr_in address = loopbackAddress(0);
    if (platform::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        platform::listen(listening, SOMAXCONN) != 0) {
        throw std::runtime_error("can't listen");
    }
    boundPort = portOf(listening);
    while (threads.size() < workers) {
        threads.emplace_back([this] { work(); });
    }
}

// Closing the listener aborts the pending accepts.
LoadServer::~LoadServer() {
    ending = true;
    platform::closesocket(listening);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void LoadServer::work() {
    const auto config = Settings::plain()
                            .with("UseEncryption", "True")
                            .with("ServerCertificateToSendName", pki::localhostElliptic)
                            .load(log);
    while (!ending && acceptNext(*config)) {
    }
}

// Returns false after the listener has been closed.
bool LoadServer::acceptNext(const IConfig& config) {
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize}> addresses{};
    const auto stack = instantiateSocketStrategy(log, config);
    HostSocket socket = makeSocket();
    OVERLAPPED accept{};
    DWORD count = 0;
    DWORD flags = 0;
    const BOOL done = stack->AcceptEx(listening, socket.handle(), addresses.data(), 0, addressSize,
                                      addressSize, &count, &accept);
    if (done == FALSE && platform::WSAGetLastError() != WSA_IO_PENDING) {
        return false;
    }
    if (platform::WSAGetOverlappedResult(listening, &accept, &count, TRUE, &flags) == FALSE) {
        return true; // the peer has closed
    }
    setTimeouts(socket.handle(), handshakeSeconds);
    serve(*stack, socket);
    return true;
}

} // namespace VexaSsl::test
