#include "Wire.h"

#include "platform/contract/Winsock.h"

#include <algorithm>
#include <cstring>

namespace VexaSsl::fuzz {

// Makes the next piece available when all before it has been read. Returns whether there is data.
// After many pieces the rest comes at once, to keep runs short.
bool Wire::arrive() {
    constexpr std::size_t mostPieces = 500;
    if (taken == visible) {
        const std::size_t left = incoming.size() - visible;
        const bool isWhole = pieceSizes.empty() || pieces == mostPieces;
        const std::size_t size =
            isWhole ? 0 : static_cast<unsigned char>(pieceSizes[pieces++ % pieceSizes.size()]);
        visible += size == 0 ? left : std::min(size, left);
    }
    return taken < visible;
}

std::size_t Wire::fill(std::vector<WSABUF>& buffers, std::size_t most) {
    std::size_t filled = 0;
    for (WSABUF& buffer : buffers) {
        const std::size_t part =
            std::min({std::size_t{buffer.len}, incoming.size() - taken, most - filled});
        std::copy_n(incoming.data() + taken, part, buffer.buf);
        taken += part;
        filled += part;
    }
    visible = std::max(visible, taken);
    return filled;
}

int Wire::send(SOCKET, const char* buf, int len, int) noexcept {
    const auto offered = static_cast<std::size_t>(len);
    const std::size_t size = sendLimit == 0 ? offered : std::min(offered, sendLimit);
    written.append(buf, size);
    if (onSent) {
        onSent({buf, size});
    }
    return static_cast<int>(size);
}

int Wire::recv(SOCKET, char* buf, int len, int) noexcept {
    ++reads;
    largestRead = std::max(largestRead, static_cast<std::size_t>(len));
    if (!arrive()) {
        return 0;
    }
    const std::size_t size = std::min(static_cast<std::size_t>(len), visible - taken);
    std::memcpy(buf, incoming.data() + taken, size);
    taken += size;
    return static_cast<int>(size);
}

int Wire::connect(SOCKET, const sockaddr*, int) noexcept {
    return 0;
}

SOCKET Wire::accept(SOCKET, sockaddr*, int*) noexcept {
    return socket;
}

// The end of the stream is readable, too.
int Wire::select(int, fd_set*, fd_set*, fd_set*, const timeval*) noexcept {
    return taken < visible || taken == incoming.size() ? 1 : 0;
}

int Wire::getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** res) noexcept {
    *res = nullptr;
    return 0;
}

int Wire::WSARecv(SOCKET, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD*,
                  WSAOVERLAPPED*, LPWSAOVERLAPPED_COMPLETION_ROUTINE) noexcept {
    posted.emplace_back(buffers, buffers + bufferCount);
    *bytesReceived = 0;
    platform::WSASetLastError(WSA_IO_PENDING);
    return SOCKET_ERROR;
}

} // namespace VexaSsl::fuzz
