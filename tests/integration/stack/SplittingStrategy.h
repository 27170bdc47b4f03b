// A decorator below the encrypting strategy: no read crosses a given position of the stream, and no
// read or write transfers more than a given number of bytes, optionally after a number of bytes.
// Nothing is lost or reordered.
//
// Positions count from the first byte of a direction. One connection for each object.
// Threads: one sender and one receiver.
#pragma once

#include "VexaSsl/ISocketStrategy.h"

#include <cstddef>
#include <limits>
#include <memory>

namespace VexaSsl::test {

struct Splitting {
    std::size_t readCut = std::numeric_limits<std::size_t>::max(); // no read crosses it
    int mostPerRead = std::numeric_limits<int>::max();
    int mostPerWrite = std::numeric_limits<int>::max();
    std::size_t quietFor = 0; // the limits start after that many bytes
};

// The bytes transferred. Read it while no operation is running.
struct Passage {
    std::size_t read = 0;
    std::size_t written = 0;
};

class SplittingStrategy : public ISocketStrategy {
public:
    // passage may be null; it must outlive the strategy.
    SplittingStrategy(std::unique_ptr<ISocketStrategy> underlyingStrategy,
                      const Splitting& splitting, Passage* passage);

    int send(SOCKET s, const char* buf, int len, int flags) override;
    int recv(SOCKET s, char* buf, int len, int flags) override;
    int connect(SOCKET s, const sockaddr* name, int namelen) override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) override;
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) override;
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) override;
    int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                     ADDRINFOW** result) override;
    BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                  DWORD receiveDataLength, DWORD localAddressLength, DWORD remoteAddressLength,
                  DWORD* bytesReceived, OVERLAPPED* overlapped) override;
    int completeAcceptEx() override;
    SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                     DWORD_PTR callbackData) override;
    int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override;
    // Limits the first buffer and ignores the others.
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) override;
    int completeWSARecv(int status, DWORD* bytesTransferred, void* context) override;
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                   WSABUF* calleeData, QOS* sqos, QOS* gqos) override;

private:
    int readable(std::size_t wanted) const;

    std::unique_ptr<ISocketStrategy> underlying;
    Splitting rules;
    Passage own;
    Passage* counts;
};

} // namespace VexaSsl::test
