#include "contract/sockets/Loopback.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>

namespace VexaSsl::test {
namespace {

int descriptorOf(const Socket& socket) {
    return static_cast<int>(socket.get());
}

void setTimeout(const Socket& socket, int option, std::chrono::milliseconds time) {
    timeval limit{};
    limit.tv_sec = time.count() / 1000;
    limit.tv_usec = time.count() % 1000 * 1000;
    setsockopt(descriptorOf(socket), SOL_SOCKET, option, &limit, sizeof(limit));
}

} // namespace

sockaddr_in addressOf(const Socket& socket) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    getsockname(descriptorOf(socket), reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

bool isConnected(const Socket& socket) {
    sockaddr_in peer{};
    socklen_t length = sizeof(peer);
    return getpeername(descriptorOf(socket), reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

void setReceiveTimeout(const Socket& socket, std::chrono::milliseconds time) {
    setTimeout(socket, SO_RCVTIMEO, time);
}

void setSendTimeout(const Socket& socket, std::chrono::milliseconds time) {
    setTimeout(socket, SO_SNDTIMEO, time);
}

void setNonBlocking(const Socket& socket) {
    const int descriptor = descriptorOf(socket);
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

void resetWhenClosed(const Socket& socket) {
    const linger atOnce{1, 0};
    setsockopt(descriptorOf(socket), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

AcceptedAddresses addressesIn(std::string& output, DWORD dataSize, DWORD area) {
    AcceptedAddresses addresses;
    std::memcpy(&addresses.local, output.data() + dataSize, sizeof(sockaddr_in));
    std::memcpy(&addresses.remote, output.data() + dataSize + area, sizeof(sockaddr_in));
    return addresses;
}

SOCKET openNonSocket() {
    static const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return static_cast<SOCKET>(file);
}

std::size_t pairsWithinLimit(std::size_t wanted) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return std::min<std::size_t>(wanted, (limit.rlim_cur - 100) / 2);
}

void endAccepts(Socket& listener) {
    platform::shutdown(listener.get(), SD_BOTH);
}

bool startedReady(int posted) {
    return posted == 0;
}

bool isAborted(int error) {
    return error == WSA_OPERATION_ABORTED;
}

} // namespace VexaSsl::test
