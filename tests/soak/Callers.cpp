#include "soak/Callers.h"

#include "soak/Hostility.h"

#include <chrono>
#include <string>
#include <thread>

namespace VexaSsl::test {

namespace {

// The client's receive timeout where the server may be silent.
constexpr int silenceSeconds = 3;

void pause(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

// Binds to 127.0.0.2 to 127.0.0.251 in turn, so that ports don't run out.
void takeLoopbackAddress(SOCKET socket) {
    static std::atomic<std::uint32_t> turn{0};
    constexpr std::uint32_t addresses = 250;
    sockaddr_in own = loopbackAddress(0);
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1 + turn++ % addresses);
    const int descriptor = static_cast<int>(socket);
    // The port is chosen in connect, so that one port can be used for several peers.
    constexpr int bindAddressNoPort = 24;
    const int yes = 1;
    ::setsockopt(descriptor, IPPROTO_IP, bindAddressNoPort, &yes, sizeof yes);
    platform::bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own);
}

} // namespace

HostSocket connectFromAnyLoopback(std::uint16_t port) {
    HostSocket socket = makeSocket();
    takeLoopbackAddress(socket.handle());
    connectTo(socket.handle(), loopbackAddress(port));
    return socket;
}

std::string Counts::text() const {
    const auto count = [](const std::atomic<std::size_t>& value) { return std::to_string(value); };
    return std::to_string(connections()) + " connections; of " + count(honest) + " honest ones " +
           count(failed) + " failed; " + count(hostileClients) + " clients were hostile; " +
           count(hostileServers) + " servers were, " + count(handshakesOfThose) +
           " of them after an honest handshake, and deceived " + count(misled) + " clients";
}

Call::Call(std::uint16_t port, const IConfig& config, ILog& log, int timeoutSeconds)
    : socket(makeSocket()), stack(instantiateSocketStrategy(log, config)) {
    setTimeouts(socket.handle(), timeoutSeconds);
    takeLoopbackAddress(socket.handle());
    addrinfo* found = nullptr;
    if (stack->getaddrinfo("localhost", nullptr, nullptr, &found) != 0) {
        return;
    }
    platform::freeaddrinfo(found);
    const sockaddr_in address = loopbackAddress(port);
    isEstablished = stack->connect(socket.handle(), reinterpret_cast<const sockaddr*>(&address),
                                   sizeof address) == 0;
}

bool Call::echoes(const Pattern& pattern, std::size_t position, std::size_t size) {
    const std::string_view bytes = pattern.at(position, size);
    const int length = static_cast<int>(size);
    if (stack->send(socket.handle(), bytes.data(), length, 0) != length) {
        return false;
    }
    std::string heard(size, '\0');
    return stack->recv(socket.handle(), heard.data(), length, msgWaitAll) == length &&
           heard == bytes;
}

bool Call::hearsAnything() {
    char heard = 0;
    return stack->recv(socket.handle(), &heard, 1, 0) > 0;
}

void Call::resetInMidRecord() {
    sendBytes(socket.handle(), dataBeginning);
    resetAtClose(socket.handle());
    socket.close();
}

Caller::Caller(const Peers& others, Counts& shared, unsigned seed)
    : peers(others), counts(shared),
      config(Settings::plain().with("UseEncryption", "True").load(log)), numbers(seed) {}

void Caller::call(int exchanges, std::size_t maximumSize) {
    if (numbers() % oneHostileIn == 0) {
        callWithHostility();
    } else {
        callHonestly(exchanges, maximumSize);
    }
}

void Caller::callHonestly(int exchanges, std::size_t maximumSize) {
    Call call(peers.server, *config, log);
    bool well = call.established();
    for (int done = 0; well && done < exchanges; ++done) {
        const std::size_t size = 1 + numbers() % maximumSize;
        well = call.echoes(sentBytes(), numbers(), size);
        counts.bytes += well ? size : 0;
    }
    ++counts.honest;
    counts.failed += well ? 0 : 1;
}

void Caller::callWithHostility() {
    if (numbers() % 2 == 0) {
        beHostile();
    } else {
        callHostileServer();
    }
}

void Caller::callWithHostilityUntil(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (counts.hostile() < counts.connections() / oneHostileIn) {
            callWithHostility();
        }
        pause(std::chrono::milliseconds(10));
    }
}

void Caller::beHostile() {
    switch (numbers() % 4) {
    case 0:
        sendGarbage();
        break;
    case 1:
        stayHalfOpen();
        break;
    case 2:
        Call(peers.server, *config, log).resetInMidRecord();
        break;
    default:
        feedSlowly();
        break;
    }
    ++counts.hostileClients;
}

void Caller::sendGarbage() {
    const HostSocket socket = connectFromAnyLoopback(peers.server);
    const std::size_t size = 1 + numbers() % 5000;
    sendBytes(socket.handle(), sentBytes().at(numbers(), size));
    pause(std::chrono::milliseconds(50));
}

// Every fourth waits for the server's timeout, unless that is longer than its own.
void Caller::stayHalfOpen() {
    const HostSocket socket = connectFromAnyLoopback(peers.server);
    setTimeouts(socket.handle(), peers.halfOpenSeconds);
    if (numbers() % 4 == 0) {
        awaitEnd(socket);
    } else {
        pause(std::chrono::milliseconds(numbers() % 1000));
    }
}

void Caller::feedSlowly() {
    const HostSocket socket = connectFromAnyLoopback(peers.server);
    sendSlowly(socket, handshakeBeginning, std::chrono::milliseconds(numbers() % 100));
}

void Caller::callHostileServer() {
    const bool handshakeIsHonest = numbers() % 2 == 0;
    Call call(handshakeIsHonest ? peers.hostile->portAfterHandshake()
                                : peers.hostile->portInsteadOfHandshake(),
              *config, log, silenceSeconds);
    const bool wasMisled = call.established() && (!handshakeIsHonest || call.hearsAnything());
    ++counts.hostileServers;
    counts.handshakesOfThose += call.established() ? 1 : 0;
    counts.misled += wasMisled ? 1 : 0;
}

} // namespace VexaSsl::test
