// Sockets on 127.0.0.1 with TCP_NODELAY. Closing one sends a reset, so that thousands of
// connections leave no port in TIME_WAIT. All functions throw std::system_error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

namespace VexaSsl::bench {

// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const { return descriptor; }
    int release();

private:
    int descriptor = -1;
};

sockaddr_in loopbackAddress(std::uint16_t port);

// Sets the options of every socket of the benchmark. Accepted sockets inherit them.
void setOptions(int socket);

Descriptor listenOnLoopback();
std::uint16_t portOf(int listener);
Descriptor connectTo(std::uint16_t port);
Descriptor acceptFrom(int listener);

void sendAll(int socket, const char* data, std::size_t size);
std::size_t receiveSome(int socket, char* data, std::size_t size);

} // namespace VexaSsl::bench
