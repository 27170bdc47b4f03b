// A call of AcceptEx together with everything that has to outlive it.
#pragma once

#include "contract/sockets/Loopback.h"

#include <string>

namespace VexaSsl::test {

// The size that Winsock requires of each address area.
inline constexpr DWORD addressSpace = sizeof(sockaddr_in) + 16;

// One AcceptEx with its accept socket, output buffer and overlapped structure.
struct Accept {
    explicit Accept(DWORD firstDataSize = 0, HANDLE event = nullptr)
        : socket(tcpSocket()), dataSize(firstDataSize),
          output(firstDataSize + 2 * addressSpace, '\0') {
        overlapped.hEvent = event;
    }
    Accept(const Accept&) = delete;
    Accept& operator=(const Accept&) = delete;

    // Returns 0, or the last error after FALSE.
    int post(const Socket& listener) {
        const BOOL done = platform::AcceptEx(listener.get(), socket.get(), output.data(), dataSize,
                                             addressSpace, addressSpace, &count, &overlapped);
        return done != FALSE ? 0 : platform::WSAGetLastError();
    }
    int finish(const Socket& listener, bool wait) {
        DWORD flags = 0;
        const BOOL done = host::WSAGetOverlappedResult(listener.get(), &overlapped, &count,
                                                       wait ? TRUE : FALSE, &flags);
        return done != FALSE ? 0 : platform::WSAGetLastError();
    }
    sockaddr_in local() { return addressesIn(output, dataSize, addressSpace).local; }
    sockaddr_in remote() { return addressesIn(output, dataSize, addressSpace).remote; }

    Socket socket;
    DWORD dataSize;
    std::string output;
    DWORD count = 0;
    OVERLAPPED overlapped{};
};

} // namespace VexaSsl::test
