#include "Loopback.h"

#include <cerrno>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace VexaSsl::bench {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int orFail(int result, const char* what) {
    if (result < 0) {
        fail(what);
    }
    return result;
}

Descriptor makeSocket() {
    Descriptor made(orFail(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    setOptions(made.get());
    return made;
}

} // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
}

Descriptor::~Descriptor() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

int Descriptor::release() {
    return std::exchange(descriptor, -1);
}

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void setOptions(int socket) {
    const int on = 1;
    orFail(::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
    const linger reset{1, 0};
    orFail(::setsockopt(socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset), "SO_LINGER");
}

Descriptor listenOnLoopback() {
    Descriptor made = makeSocket();
    const sockaddr_in address = loopbackAddress(0);
    orFail(::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    orFail(::listen(made.get(), SOMAXCONN), "listen");
    return made;
}

std::uint16_t portOf(int listener) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    orFail(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    return ntohs(address.sin_port);
}

Descriptor connectTo(std::uint16_t port) {
    Descriptor made = makeSocket();
    const sockaddr_in address = loopbackAddress(port);
    orFail(::connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
           "connect");
    return made;
}

Descriptor acceptFrom(int listener) {
    return Descriptor(orFail(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), "accept"));
}

void sendAll(int socket, const char* data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t sent = ::send(socket, data + done, size - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            fail("send");
        }
        done += static_cast<std::size_t>(sent);
    }
}

std::size_t receiveSome(int socket, char* data, std::size_t size) {
    const ssize_t received = ::recv(socket, data, size, 0);
    if (received <= 0) {
        fail("recv");
    }
    return static_cast<std::size_t>(received);
}

} // namespace VexaSsl::bench
