// The strategy below, over memory: what the peer sends is a text that comes in pieces, what is sent
// gathers in another. Behind its last byte the peer has closed, so nothing ever waits.
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
    static constexpr SOCKET socket = 0x7FFF0001; // open nowhere

    explicit Wire(ILog& sink) : UnsecureSocketStrategy(sink) {}

    // What the peer sends. A piece is what a read finds, or several reads when they are small.
    std::string incoming;
    // The pieces' sizes, taken in turn; 0 is all that is there. None: everything is one piece.
    std::string pieceSizes;
    // How much a send takes at once; 0: everything.
    std::size_t sendLimit = 0;
    // Called with what was sent, and when a read finds nothing more: each may add to incoming.
    std::function<void(std::string_view)> onSent;

    std::string written;
    std::size_t taken = 0;       // bytes of incoming that were read
    std::size_t reads = 0;       // calls of recv
    std::size_t largestRead = 0; // the most that one of them asked for

    // Reads as the system does for a posted receive.
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
