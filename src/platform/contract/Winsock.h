// Contract: the socket operations that the library needs of a system.
//
// Each has the name, the arguments, the result and the failure codes of the Winsock function of
// that name. A binding forwards or imitates single calls and adds no logic of its own. Failures
// leave a Winsock number in the calling thread's last-error slot; successes may leave it as it was.
//
// What the library relies on:
//   - send and recv block as the socket blocks; recv gives 0 at the end of the stream; recv asked
//     for 0 bytes gives 0 or blocks like the system's;
//   - a peer that has gone never raises a signal;
//   - select changes the sets to the ready sockets, in their order, and counts them over all sets;
//     three null sets: WSAEINVAL; something that is no socket: WSAENOTSOCK;
//   - an overlapped WSARecv or AcceptEx that can't finish at once gives SOCKET_ERROR or FALSE with
//     WSA_IO_PENDING, and the buffers belong to the system until the operation has completed.
//
// Any thread may call any of them.
#pragma once

#include "VexaSsl/Sockets.h" // IWYU pragma: export

namespace VexaSsl::platform {

int send(SOCKET s, const char* buf, int len, int flags);
int recv(SOCKET s, char* buf, int len, int flags); // flags: Winsock's numbers
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
// Non-zero when s is in the set.
int __WSAFDIsSet(SOCKET s, fd_set* set);
void WSASetLastError(int error);
int WSAGetLastError();

// The host name of an address into node (zero-terminated, at most nodeLength units). Result: 0 or
// an error code, which the last-error slot shows too. Null service: no service name is asked for.
int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags);

} // namespace VexaSsl::platform
