#include "strategies/SometimesSecureSocketStrategy.h"
#include "strategies/LogTexts.h"

#include "config/OptionChecks.h"
#include "config/Vocabulary.h"
#include "secure/OperationGuard.h"

#include <memory>
#include <string>
#include <utility>

namespace VexaSsl {

SometimesSecureSocketStrategy::SometimesSecureSocketStrategy(
    ILog& log, const IConfig& config, std::unique_ptr<ISocketStrategy> underlyingStrategy)
    : SecureSocketStrategy(log, config, std::move(underlyingStrategy)) {
    const std::wstring connectionName =
        config.getValue(ConfigurationDefinition::InternalOnlyUtilityOptions::ConnectionName);
    if (ConfigurationDefinition::InternalConnectionNames.contains(connectionName)) {
        log.log(Severity::Error,
                LogTexts::internalNamePrefix + connectionName + L"] does not support OTLS");
        throwInvalidConfiguration();
    }
}

// A server needs a name too, resolved through this strategy. A failure leaves the socket open, sets
// no error code and lets traffic continue in the clear, although a failed handshake may have moved
// bytes. Compatibility: clear-after-failed-start
int SometimesSecureSocketStrategy::startOtls() noexcept {
    const auto body = [this] {
        if (encrypting) {
            return 0;
        }
        if (remoteHostName.empty()) {
            return refuseWithoutName();
        }
        failure = {};
        secureConnection(isServer, remoteHostName);
        encrypting = true;
        return 0;
    };
    return guardOperation(log, LogTexts::noSecurityContextPrefix, body, noCleanup,
                          [this](Interruption) {
                              failure = currentReason();
                              return SOCKET_ERROR;
                          });
}

int SometimesSecureSocketStrategy::stopOtls() noexcept {
    if (encrypting) {
        record.reset();
        encrypting = false;
    }
    return 0;
}

// A failed accept replaces the socket and keeps the role.
// Compatibility: failed-accept-overwrites-socket
SOCKET SometimesSecureSocketStrategy::noteAccepted(SOCKET accepted) {
    socket = accepted;
    if (accepted != INVALID_SOCKET) {
        isServer = true;
    }
    return accepted;
}

int SometimesSecureSocketStrategy::noteConnected(SOCKET connected, int result) {
    if (result != SOCKET_ERROR) {
        socket = connected;
        isServer = false;
    }
    return result;
}

int SometimesSecureSocketStrategy::send(SOCKET s, const char* buf, int len, int flags) noexcept {
    return encrypting ? SecureSocketStrategy::send(s, buf, len, flags)
                      : underlyingStrategy->send(s, buf, len, flags);
}

int SometimesSecureSocketStrategy::recv(SOCKET s, char* buf, int len, int flags) noexcept {
    return encrypting ? SecureSocketStrategy::recv(s, buf, len, flags)
                      : underlyingStrategy->recv(s, buf, len, flags);
}

int SometimesSecureSocketStrategy::connect(SOCKET s, const sockaddr* name, int namelen) noexcept {
    const int result = underlyingStrategy->connect(s, name, namelen);
    failure = outcomeOf(result != SOCKET_ERROR, "cannot connect");
    return noteConnected(s, result);
}

SOCKET SometimesSecureSocketStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept {
    const SOCKET accepted = underlyingStrategy->accept(s, addr, addrlen);
    failure = outcomeOf(accepted != INVALID_SOCKET, "cannot accept");
    return noteAccepted(accepted);
}

BOOL SometimesSecureSocketStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket,
                                             void* outputBuffer, DWORD receiveDataLength,
                                             DWORD localAddressLength, DWORD remoteAddressLength,
                                             DWORD* bytesReceived,
                                             OVERLAPPED* overlapped) noexcept {
    const BOOL result = underlyingStrategy->AcceptEx(
        listenSocket, acceptSocket, outputBuffer, receiveDataLength, localAddressLength,
        remoteAddressLength, bytesReceived, overlapped);
    // A pending accept can't be stored later, since completeAcceptEx passes through: a server with
    // pending accepts can't use opportunistic TLS.
    if (result == TRUE) {
        socket = acceptSocket;
        isServer = true;
    }
    return result;
}

int SometimesSecureSocketStrategy::completeAcceptEx() noexcept {
    const int result = underlyingStrategy->completeAcceptEx();
    failure = outcomeOf(result != SOCKET_ERROR, "cannot accept");
    return result;
}

SOCKET SometimesSecureSocketStrategy::WSAAccept(SOCKET s, sockaddr* addr, int* addrlen,
                                                LPCONDITIONPROC condition,
                                                DWORD_PTR callbackData) noexcept {
    return noteAccepted(underlyingStrategy->WSAAccept(s, addr, addrlen, condition, callbackData));
}

int SometimesSecureSocketStrategy::WSASend(
    SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
    WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return encrypting ? SecureSocketStrategy::WSASend(s, buffers, bufferCount, bytesSent, flags,
                                                      overlapped, completionRoutine)
                      : underlyingStrategy->WSASend(s, buffers, bufferCount, bytesSent, flags,
                                                    overlapped, completionRoutine);
}

int SometimesSecureSocketStrategy::WSARecv(
    SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
    WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return encrypting ? SecureSocketStrategy::WSARecv(s, buffers, bufferCount, bytesReceived, flags,
                                                      overlapped, completionRoutine)
                      : underlyingStrategy->WSARecv(s, buffers, bufferCount, bytesReceived, flags,
                                                    overlapped, completionRoutine);
}

int SometimesSecureSocketStrategy::completeWSARecv(int status, DWORD* bytesTransferred,
                                                   void* context) noexcept {
    return encrypting ? SecureSocketStrategy::completeWSARecv(status, bytesTransferred, context)
                      : underlyingStrategy->completeWSARecv(status, bytesTransferred, context);
}

int SometimesSecureSocketStrategy::WSAConnect(SOCKET s, const sockaddr* name, int namelen,
                                              WSABUF* callerData, WSABUF* calleeData, QOS* sqos,
                                              QOS* gqos) noexcept {
    return noteConnected(
        s, underlyingStrategy->WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos));
}

} // namespace VexaSsl
