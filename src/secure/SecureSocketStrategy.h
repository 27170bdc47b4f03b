// The strategy that protects one connection with TLS. It owns the strategy below, which does the
// socket work, and at most one record, made by a successful handshake in connect, accept or
// completeAcceptEx and replaced by the next one.
//
// VexaSsl/ISocketStrategy.h documents the operations. An exception inside one becomes an Error line
// and a failure value; the line is dropped if there is no memory for it. If the log throws
// anything but std::bad_alloc while it takes that line, or in AcceptEx, which logs outside of the
// guard, the process ends, since the operations are noexcept.
//
// No operation closes the socket or sends a TLS closure, the destructor included. The data
// operations need a record and refuse to work without one.
//
// Threads: one sender (send, WSASend) and one receiver (recv, select, WSARecv, completeWSARecv,
// heldBytes) at a time; WSARecv and completeWSARecv not at the same time; everything else alone.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/IConnectionInfo.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"
#include "config/SslConfig.h"
#include "frame/ConnectionError.h"
#include "secure/PendingReceive.h"
#include "secure/SecureSocketRecord.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl {

class SecureSocketStrategy : public ISocketStrategy, public IConnectionInfo {
public:
    // Copies config. Throws std::runtime_error if the system has no suitable security package.
    SecureSocketStrategy(ILog& log, const IConfig& config,
                         std::unique_ptr<ISocketStrategy> underlyingStrategy);
    ~SecureSocketStrategy() override;
    SecureSocketStrategy(const SecureSocketStrategy&) = delete;
    SecureSocketStrategy& operator=(const SecureSocketStrategy&) = delete;

    // For administration; null if no connection is secured. Valid until the next operation that
    // connects, accepts or stops encrypting.
    SecureSocketRecord* securedConnection() const noexcept { return record.get(); }

    // BlockingTransfer.cpp
    int send(SOCKET s, const char* buf, int len, int flags) noexcept override;
    int recv(SOCKET s, char* buf, int len, int flags) noexcept override;

    // ConnectionSetup.cpp
    int connect(SOCKET s, const sockaddr* name, int namelen) noexcept override;
    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override;

    // Select.cpp
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) noexcept override;

    // ConnectionSetup.cpp
    int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints,
                    addrinfo** res) noexcept override;
    int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                     ADDRINFOW** result) noexcept override;
    BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                  DWORD receiveDataLength, DWORD localAddressLength, DWORD remoteAddressLength,
                  DWORD* bytesReceived, OVERLAPPED* overlapped) noexcept override;
    int completeAcceptEx() noexcept override;
    SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                     DWORD_PTR callbackData) noexcept override;

    // OverlappedTransfer.cpp
    int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override;
    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override;
    int completeWSARecv(int status, DWORD* bytesTransferred, void* context) noexcept override;

    // ConnectionSetup.cpp
    int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData,
                   WSABUF* calleeData, QOS* sqos, QOS* gqos) noexcept override;

    // ConnectionQueries.cpp
    ConnectionInfo connectionInfo() const override;
    ConnectionFailure lastFailure() const override;
    int heldBytes() noexcept override;

protected:
    static constexpr const wchar_t* noHostNameText =
        L"No remote hostname has been supplied. Server authentication will be impossible. "
        L"Aborting connection attempt";

    // Logs that no name has been resolved and stores the failure. Returns SOCKET_ERROR.
    int refuseWithoutName();
    // Runs the handshake on socket and replaces the record; a failure keeps the old one. Throws
    // what the record's constructor throws.
    void secureConnection(bool isServer, std::wstring targetName);
    // Removes the oldest pending receive from the queue, which must not be empty. Returns all of
    // the host's buffers, and those shadow buffers that the transfer reached.
    void takePendingReceive(DWORD transferred, std::vector<WSABUF>& callerBuffers,
                            std::vector<ShadowBuffer>& shadowBuffers);

    ILog& log;
    SslConfig config; // of every record
    std::unique_ptr<ISocketStrategy> underlyingStrategy;
    std::unique_ptr<SecureSocketRecord> record;
    FailureReason failure; // of the latest attempt to connect
    SOCKET socket = INVALID_SOCKET;
    std::wstring remoteHostName;    // resolved last; the server's certificate must match it
    std::wstring remoteServiceName; // not read
    // Oldest first. A deque keeps its entries in place while others are added and removed.
    std::deque<PendingReceive> pendingReceives;

private:
    // One call of recv.
    struct ReceiveCall {
        SOCKET s;
        char* buf;
        int len;
        bool peek;
        bool waitAll;
        int delivered = 0;   // plaintext bytes placed in buf
        DWORD wireBytes = 0; // ciphertext bytes read by this call
    };

    // Shuts the connection down in both directions and sets it to INVALID_SOCKET; the socket stays
    // open.
    void abortConnection(SOCKET& connection);
    // Stores the reason of the exception that is being handled, aborts the connection and sets
    // WSAECONNABORTED.
    void failHandshake();

    // Refuses a call that is the host's mistake: writes an Error line and sets the error code, and
    // changes nothing else. Returns SOCKET_ERROR.
    int refuseCall(const wchar_t* operation, const wchar_t* mistake, int code);

    int sendProtected(SOCKET s, const char* buf, int len, int flags);
    bool writeRecord(SOCKET s, DWORD size, int flags);
    int receivePlain(ReceiveCall call);
    int receiveFromNetwork(ReceiveCall& call);
    SECURITY_STATUS serveHeld(ReceiveCall& call);
    bool moreAtSocket();

    int selectWithRecord(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                         const timeval* timeout);
    int selectBesidePlaintext(int nfds, fd_set& readfds, fd_set* writefds, fd_set* exceptfds,
                              const timeval* timeout);

    template <typename Body>
    int guardOverlapped(Body body);
    int refuseOverlapped(const wchar_t* reason);
    int sendEach(SOCKET s, const WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags);
    int postReceive(SOCKET s, const WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived,
                    DWORD* flags, WSAOVERLAPPED* overlapped,
                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine);
    // Decrypts a completed receive into the host's buffers. Returns 0, -1 with the last error set,
    // or a status of the security package. delivered is the number of plaintext bytes, 0 after a
    // failure.
    int finishPendingReceive(DWORD transferred, DWORD& delivered);
    int completeReceive(DWORD* bytesTransferred);
    static int failReceive(SECURITY_STATUS status);
};

} // namespace VexaSsl
