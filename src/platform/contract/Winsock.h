// Contract: the socket operations.
//
// Each has the name, the arguments, the result and the error codes of the Winsock function of that
// name. A binding forwards or imitates single calls and adds no logic of its own. A failure stores
// a Winsock error code as the calling thread's last error; a success may leave it unchanged.
//
// The core relies on the following:
//   - send and recv block on a blocking socket; recv returns 0 at the end of the stream; recv of 0
//     bytes returns 0 or blocks, as the system does;
//   - sending on a closed connection raises no signal;
//   - select reduces the sets to the ready sockets, in their order, and returns their number over
//     all sets; it fails with WSAEINVAL for three null sets and with WSAENOTSOCK for a member that
//     isn't a socket;
//   - an overlapped WSARecv or AcceptEx that doesn't complete at once returns SOCKET_ERROR or FALSE
//     with WSA_IO_PENDING, and the buffers belong to the system until the operation has completed.
//
// Any thread may call any of them.
#pragma once

#include "VexaSsl/Sockets.h" // IWYU pragma: export

namespace VexaSsl::platform {

int send(SOCKET s, const char* buf, int len, int flags);
int recv(SOCKET s, char* buf, int len, int flags);
int connect(SOCKET s, const sockaddr* name, int namelen);
SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen);
int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout);
int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res);
int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result);
BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped);
SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData);
int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine);
int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine);
int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS* sqos, QOS* gqos);

int shutdown(SOCKET s, int how); // how: SD_RECEIVE, SD_SEND or SD_BOTH
// Returns non-zero when s is in the set.
int __WSAFDIsSet(SOCKET s, fd_set* set);
void WSASetLastError(int error);
int WSAGetLastError();

// Writes the host name of an address to node, zero-terminated, at most nodeLength units. With a
// null service no service name is looked up. Returns 0 or an error code, which is also the last
// error.
int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags);

} // namespace VexaSsl::platform
