// An OpenSSL peer on memory below the library: the transport passes what the library sends to the
// peer and receives its output.
#pragma once

#include "chains/Chain.h"

#include "VexaSsl/ISocketStrategy.h"

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace VexaSsl::test {

// Sends a chain as a server or as a client. A certificate that OpenSSL cannot send is put into its
// Certificate message afterwards; that handshake cannot complete, but the library's reaction to the
// message is visible.
class MemoryPeer {
public:
    MemoryPeer(bool isServer, const PresentedChain& presented);

    void take(const char* bytes, std::size_t size);
    // Writes at most size bytes of output; returns 0 without output.
    std::size_t produceOutput(char* bytes, std::size_t size);
    bool finished() const { return SSL_is_init_finished(ssl.get()) == 1; }
    // Whether the library continued after the certificate.
    bool peerContinued() const { return flights > 1; }

private:
    struct Free {
        void operator()(SSL_CTX* owned) const { SSL_CTX_free(owned); }
        void operator()(SSL* session) const { SSL_free(session); }
    };

    std::unique_ptr<SSL_CTX, Free> context;
    std::unique_ptr<SSL, Free> ssl;
    std::vector<Der> replacement; // empty: nothing is replaced
    std::string outgoing;
    int flights = 0; // sent by the library
    bool producedOutput = true;
};

class MemoryTransport : public ISocketStrategy {
public:
    MemoryTransport(MemoryPeer& other, SOCKET number) : peer(other), socket(number) {}

    int send(SOCKET, const char* buf, int len, int) override {
        peer.take(buf, static_cast<std::size_t>(len));
        return len;
    }
    int recv(SOCKET, char* buf, int len, int) override {
        return static_cast<int>(peer.produceOutput(buf, static_cast<std::size_t>(len)));
    }
    int connect(SOCKET, const sockaddr*, int) override { return 0; }
    SOCKET accept(SOCKET, sockaddr*, int*) override { return socket; }
    int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) override { return 0; }
    int GetAddrInfoW(const wchar_t*, const wchar_t*, const ADDRINFOW*, ADDRINFOW**) override {
        return 0;
    }
    int select(int, fd_set*, fd_set*, fd_set*, const timeval*) override { return SOCKET_ERROR; }
    BOOL AcceptEx(SOCKET, SOCKET, void*, DWORD, DWORD, DWORD, DWORD*, OVERLAPPED*) override {
        return 0;
    }
    int completeAcceptEx() override { return SOCKET_ERROR; }
    SOCKET WSAAccept(SOCKET, sockaddr*, int*, LPCONDITIONPROC, DWORD_PTR) override {
        return INVALID_SOCKET;
    }
    int WSASend(SOCKET, WSABUF*, DWORD, DWORD*, DWORD, WSAOVERLAPPED*,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE) override {
        return SOCKET_ERROR;
    }
    int WSARecv(SOCKET, WSABUF*, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE) override {
        return SOCKET_ERROR;
    }
    int completeWSARecv(int, DWORD*, void*) override { return SOCKET_ERROR; }
    int WSAConnect(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*, QOS*) override {
        return SOCKET_ERROR;
    }

private:
    MemoryPeer& peer;
    SOCKET socket;
};

} // namespace VexaSsl::test
