#include "integration/support/ConnectedPair.h"

#include "fakes/Secrets.h"
#include "integration/support/Pki.h"

#include <array>
#include <thread>

namespace VexaSsl::test {

bool Peer::sendAll(std::string_view text) {
    secrets::addContent(text);
    const int size = static_cast<int>(text.size());
    return stack->send(socket.handle(), text.data(), size, 0) == size;
}

std::optional<std::string> Peer::receive(std::size_t size, int flags) {
    std::string buffer(size, '\0');
    const int got = stack->recv(socket.handle(), buffer.data(), static_cast<int>(size), flags);
    if (got == SOCKET_ERROR) {
        error = platform::WSAGetLastError();
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(got));
    return buffer;
}

std::string Peer::receiveAll(std::size_t size) {
    return receive(size, msgWaitAll).value_or("");
}

int Peer::readable(int seconds) {
    fd_set set{};
    platform::socketSetAdd(socket.handle(), set);
    const timeval limit{seconds, 0};
    return stack->select(0, &set, nullptr, nullptr, &limit);
}

Peer connectPeer(std::uint16_t port, const Settings& settings, const std::string& host,
                 const StackMaker& maker) {
    Peer peer;
    peer.stack = maker(*peer.log, *settings.load(*peer.log));
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_family = host.find(':') == std::string::npos ? AF_INET : AF_INET6;
    addrinfo* found = nullptr;
    peer.error =
        peer.stack->getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (peer.error != 0) {
        return peer;
    }
    peer.socket = makeSocket(hints.ai_family);
    peer.result = peer.stack->connect(peer.socket.handle(), found->ai_addr,
                                      static_cast<int>(found->ai_addrlen));
    peer.error = peer.result == 0 ? 0 : platform::WSAGetLastError();
    platform::freeaddrinfo(found);
    return peer;
}

namespace {

void acceptBlocking(Peer& peer, SOCKET listener) {
    sockaddr_storage address{};
    int length = sizeof address;
    peer.socket =
        HostSocket(peer.stack->accept(listener, reinterpret_cast<sockaddr*>(&address), &length));
    peer.result = peer.socket.handle() == INVALID_SOCKET ? SOCKET_ERROR : 0;
}

void acceptOverlapped(Peer& peer, SOCKET listener) {
    constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
    std::array<char, 2 * std::size_t{addressSize}> addresses{};
    peer.socket = makeSocket();
    Overlapped overlapped;
    DWORD received = 0;
    const BOOL done = peer.stack->AcceptEx(listener, peer.socket.handle(), addresses.data(), 0,
                                           addressSize, addressSize, &received, overlapped.get());
    const bool pending = done == FALSE && platform::WSAGetLastError() == WSA_IO_PENDING;
    if (done == FALSE && (!pending || !overlapped.wait(listener, received))) {
        return;
    }
    joinListener(peer.socket.handle(), listener);
    setTimeouts(peer.socket.handle()); // the accepted socket replaces the one created before
    peer.result = peer.stack->completeAcceptEx();
}

} // namespace

Peer acceptPeer(const Listener& listener, const Settings& settings, Accepting accepting,
                const StackMaker& maker) {
    Peer peer;
    peer.stack = maker(*peer.log, *settings.load(*peer.log));
    if (accepting == Accepting::blocking) {
        acceptBlocking(peer, listener.handle());
    } else {
        acceptOverlapped(peer, listener.handle());
    }
    peer.error = peer.result == 0 ? 0 : platform::WSAGetLastError();
    return peer;
}

ConnectedPair connectPair(const Plan& plan) {
    const Listener listener;
    ConnectedPair pair;
    std::uint16_t port = listener.port();
    if (plan.between) {
        pair.relay = std::make_unique<Relay>(port, *plan.between);
        port = pair.relay->port();
    }
    std::jthread serving(
        [&] { pair.server = acceptPeer(listener, plan.server, plan.accepting, plan.serverStack); });
    pair.client = connectPeer(port, plan.client, plan.host, plan.clientStack);
    serving.join();
    return pair;
}

ConnectedPair connectEncrypted(const std::optional<RelayPlan>& between, Accepting accepting) {
    return connectPair({.client = Settings::encrypted(),
                        .server = Settings::serverSending(pki::localhost),
                        .accepting = accepting,
                        .between = between});
}

} // namespace VexaSsl::test
