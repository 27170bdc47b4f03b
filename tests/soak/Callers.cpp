#include "soak/Callers.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr int honestSeconds = 120;

// The first bytes of a TLS record of 16,000 bytes.
constexpr std::string_view recordBeginning("\x16\x03\x01\x3e\x80\x01\x00\x3e\x7c\x03\x03", 11);
// The same of application data.
constexpr std::string_view dataBeginning("\x17\x03\x03\x04\x00half of it", 15);

void pause(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

// Binds to 127.0.0.2 to 127.0.0.251 in turn; a connection is told by both addresses and ports.
void takeLoopbackAddress(SOCKET socket) {
    static std::atomic<std::uint32_t> turn{0};
    constexpr std::uint32_t addresses = 250;
    sockaddr_in own = loopbackAddress(0);
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1 + turn++ % addresses);
    const int descriptor = static_cast<int>(socket);
    // The port is chosen with the peer known: the same one may be in use towards another.
    constexpr int bindAddressNoPort = 24;
    const int yes = 1;
    ::setsockopt(descriptor, IPPROTO_IP, bindAddressNoPort, &yes, sizeof yes);
    platform::bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own);
}

// Waits until the server ends the connection, or time is up.
void awaitEnd(const HostSocket& socket) {
    std::vector<char> buffer(4096);
    while (receiveBytes(socket.handle(), buffer.data(), buffer.size()) > 0) {
    }
}

} // namespace

const Pattern& sentBytes() {
    static const Pattern pattern;
    return pattern;
}

HostSocket connectFromAnyLoopback(std::uint16_t port) {
    HostSocket socket = makeSocket();
    takeLoopbackAddress(socket.handle());
    connectTo(socket.handle(), loopbackAddress(port));
    return socket;
}

Call::Call(std::uint16_t port, const IConfig& config, ILog& log)
    : socket(makeSocket()), stack(instantiateSocketStrategy(log, config)) {
    limitWaiting(socket.handle(), honestSeconds);
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

void Call::resetInMidRecord() {
    sendBytes(socket.handle(), dataBeginning);
    resetAtClose(socket.handle());
    socket.close();
}

Caller::Caller(std::uint16_t serverPort, Counts& shared, unsigned seed)
    : port(serverPort), counts(shared),
      config(Settings::plain().with("UseEncryption", "True").load(log)), numbers(seed) {}

void Caller::call(int exchanges, std::size_t maximumSize) {
    if (numbers() % oneHostileIn == 0) {
        callWithHostility();
    } else {
        callHonestly(exchanges, maximumSize);
    }
}

void Caller::callHonestly(int exchanges, std::size_t maximumSize) {
    Call call(port, *config, log);
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
    switch (numbers() % 4) {
    case 0:
        sendGarbage();
        break;
    case 1:
        stayHalfOpen();
        break;
    case 2:
        Call(port, *config, log).resetInMidRecord();
        break;
    default:
        feedSlowly();
        break;
    }
    ++counts.hostile;
}

void Caller::sendGarbage() {
    const HostSocket socket = connectFromAnyLoopback(port);
    const std::size_t size = 1 + numbers() % 5000;
    sendBytes(socket.handle(), sentBytes().at(numbers(), size));
    pause(std::chrono::milliseconds(50));
}

// Every fourth waits for the server's patience to end.
void Caller::stayHalfOpen() {
    const HostSocket socket = connectFromAnyLoopback(port);
    if (numbers() % 4 == 0) {
        awaitEnd(socket);
    } else {
        pause(std::chrono::milliseconds(numbers() % 1000));
    }
}

void Caller::feedSlowly() {
    const HostSocket socket = connectFromAnyLoopback(port);
    for (const char byte : recordBeginning) {
        sendBytes(socket.handle(), {&byte, 1});
        pause(std::chrono::milliseconds(numbers() % 100));
    }
}

} // namespace VexaSsl::test
