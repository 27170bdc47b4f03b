// The strategy that protects one connection with TLS. It wraps the strategy that does the raw
// socket work and holds at most one record, made by connect, accept or completeAcceptEx when the
// handshake has succeeded; the next success replaces it.
//
// VexaSsl/ISocketStrategy.h documents each operation for the host. An exception ends in the
// operation that throws it and becomes an Error line and a failure value. An exception of the log
// while that line is written ends the process, because the operations are noexcept; so does any
// exception of the log in AcceptEx, which logs outside of the guard.
//
// No operation closes the socket or tells the peer that the stream ends, the destructor included.
// The data operations take for granted that a handshake has succeeded: they don't test record.
//
// Threads: one sender (send, WSASend) beside one receiver (recv, select, WSARecv, completeWSARecv);
// WSARecv and completeWSARecv apart from each other; everything else alone.
//
// Ownership: the log is borrowed and outlives the strategy; the configuration is a copy.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"
#include "config/SslConfig.h"
#include "secure/PendingReceive.h"
#include "secure/SecureSocketRecord.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl {

class SecureSocketStrategy : public ISocketStrategy {
public:
    // Throws std::runtime_error when the system has no suitable security package.
    SecureSocketStrategy(ILog& logSink, const IConfig& configuration,
                         std::unique_ptr<ISocketStrategy> underlying);
    ~SecureSocketStrategy() override;
    SecureSocketStrategy(const SecureSocketStrategy&) = delete;
    SecureSocketStrategy& operator=(const SecureSocketStrategy&) = delete;

    // What was negotiated, for administration; null while there is no secured connection. Valid
    // until the next operation that connects, accepts or stops encrypting.
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

protected:
    static constexpr const wchar_t* noHostNameText =
        L"No remote hostname has been supplied. Server authentication will be impossible. "
        L"Aborting connection attempt";

    // Runs the handshake on socket and puts the new record in the place of the old one, which stays
    // if the handshake fails. Throws what the record's constructor throws.
    void secureConnection(bool serverRole, std::wstring target);
    // Takes the oldest pending receive out of the queue and apart: all of the host's buffers, and
    // of the shadow buffers only those that the transfer reached. The queue must not be empty.
    void takePendingReceive(DWORD transferred, std::vector<WSABUF>& callerBuffers,
                            std::vector<ShadowBuffer>& shadowBuffers);

    ILog& log;
    SslConfig config; // handed to every record
    std::unique_ptr<ISocketStrategy> underlyingStrategy;
    std::unique_ptr<SecureSocketRecord> record;
    SOCKET socket = INVALID_SOCKET;
    std::wstring remoteHostName;    // resolved last; what the server's certificate must carry
    std::wstring remoteServiceName; // noted with it; nothing reads it
    // Oldest first. A deque leaves its entries in place while others come and go.
    std::deque<PendingReceive> pendingReceives;

private:
    // One call of recv under way.
    struct ReceiveCall {
        SOCKET s;
        char* buf;
        int len;
        bool peek;
        bool waitAll;
        int delivered = 0;   // plaintext bytes placed in buf
        DWORD wireBytes = 0; // ciphertext bytes read by this call
    };

    // Shuts the connection down in both directions and forgets the socket, which stays open.
    void abortConnection(SOCKET& connection);
    // What a failed handshake leads to once it has been logged.
    void failHandshake();

    int sendProtected(SOCKET s, const char* buf, int len, int flags);
    int writeRecord(SOCKET s, DWORD size, int flags);
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
    // Decrypts a completed receive into the host's buffers. Result: 0, -1 with the last error set,
    // or a status of the security package; delivered: the plaintext bytes, 0 after a failure.
    int finishPendingReceive(DWORD transferred, DWORD& delivered);
    int completeReceive(DWORD* bytesTransferred);
    static int reportSpoiledReceive(SECURITY_STATUS status);
};

} // namespace VexaSsl
