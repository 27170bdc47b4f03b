// The lower strategy in memory: the peer's data arrives in pieces, and sent data is collected. The
// peer has closed after its last byte, so no call waits.
//
// Threads: one.
#pragma once

#include "strategies/UnsecureSocketStrategy.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::fuzz {

class Wire : public UnsecureSocketStrategy {
public:
    static constexpr SOCKET socket = 0x7FFF0001; // not an open descriptor

    explicit Wire(ILog& log) : UnsecureSocketStrategy(log) {}

    // The peer's data. A read returns at most one piece.
    std::string incoming;
    // The sizes of the pieces, used in turn; 0 means the rest. Empty: one piece.
    std::string pieceSizes;
    // The most bytes that one send accepts; 0: all.
    std::size_t sendLimit = 0;
    // Called with sent data, and with an empty text when a read finds no data. It may append to
    // incoming.
    std::function<void(std::string_view)> onSent;

    std::string written;
    std::size_t taken = 0;       // bytes of incoming that have been read
    std::size_t reads = 0;       // calls of recv
    std::size_t largestRead = 0; // the largest size requested

    // Fills the buffers of a posted receive, as the system does. Returns the number of bytes.
    std::size_t fill(std::vector<WSABUF>& buffers, std::size_t most);
    std::vector<std::vector<WSABUF>> posted; // oldest first

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override;
    int recv(SOCKET s, char* buf, int len, int flags) noexcept override;
    int connect(SOCKET s, const sockaddr* name, int namelen) noexcept override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override;
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) noexcept override;
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) noexcept override;
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override;

private:
    bool arrive();

    std::size_t visible = 0; // bytes of incoming that have arrived
    std::size_t pieces = 0;
};

} // namespace VexaSsl::fuzz
