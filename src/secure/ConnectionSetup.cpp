// SecureSocketStrategy: name resolution, connecting and accepting.
#include "VexaSsl/TextConversion.h"
#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"
#include "secure/OperationGuard.h"
#include "secure/SecureSocketStrategy.h"

#include <string>

namespace VexaSsl {

namespace {

// What a lookup without a node name asks for.
constexpr const wchar_t* localHostName = L"localhost";

// The host's pointer shows the list of the lower lookup although a failure is returned.
// Compatibility: lookup-failure-with-list
int lookupFailure(Interruption kind) {
    return kind == Interruption::OutOfMemory ? WSA_NOT_ENOUGH_MEMORY : -1;
}

} // namespace

int SecureSocketStrategy::connect(SOCKET s, const sockaddr* name, int namelen) noexcept {
    const auto body = [&] {
        if (remoteHostName.empty()) {
            refuseWithoutName();
            platform::WSASetLastError(WSAEINVAL);
            return SOCKET_ERROR;
        }
        // On a non-blocking socket a connect in progress is a failure: nothing secures the
        // connection later.
        const int result = underlyingStrategy->connect(s, name, namelen);
        failure = outcomeOf(result != SOCKET_ERROR, "cannot connect");
        if (result != SOCKET_ERROR) {
            socket = s;
            secureConnection(false, remoteHostName);
        }
        return result;
    };
    return guardOperation(log, LogTexts::noSecurityContextPrefix, body, noCleanup,
                          [this](Interruption) { return failHandshake(), SOCKET_ERROR; });
}

// After a failed handshake the accepted socket is shut down and its number lost.
// Compatibility: accept-loses-socket
SOCKET SecureSocketStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept {
    const auto body = [&] {
        socket = underlyingStrategy->accept(s, addr, addrlen);
        failure = outcomeOf(socket != INVALID_SOCKET, "cannot accept");
        if (socket != INVALID_SOCKET) {
            secureConnection(true, addr == nullptr ? L"" : peerHostName(log, addr, *addrlen));
        }
        return socket;
    };
    return guardOperation(log, LogTexts::noSecurityContextPrefix, body, noCleanup,
                          [this](Interruption) { return failHandshake(), INVALID_SOCKET; });
}

BOOL SecureSocketStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                    DWORD receiveDataLength, DWORD localAddressLength,
                                    DWORD remoteAddressLength, DWORD* bytesReceived,
                                    OVERLAPPED* overlapped) noexcept {
    // Stored before a connection exists, since completeAcceptEx has no argument, and even when the
    // call is refused. Compatibility: refused-acceptex-keeps-socket
    socket = acceptSocket;
    if (receiveDataLength != 0) {
        logIfMemoryAllows(log, Severity::Error, [] {
            return L"AcceptEx cannot be secured if it is asked to do the initial read";
        });
        platform::WSASetLastError(WSAEINVAL);
        return FALSE;
    }
    return underlyingStrategy->AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                                        localAddressLength, remoteAddressLength, bytesReceived,
                                        overlapped);
}

int SecureSocketStrategy::completeAcceptEx() noexcept {
    const auto body = [&] {
        if (socket == INVALID_SOCKET) {
            failure = {FailureCause::Caller, 0, "no socket has been accepted"};
            platform::WSASetLastError(WSAECONNABORTED);
            return SOCKET_ERROR;
        }
        failure = {};
        secureConnection(true, {});
        return 0;
    };
    return guardOperation(log, LogTexts::noSecurityContextPrefix, body, noCleanup,
                          [this](Interruption) { return failHandshake(), SOCKET_ERROR; });
}

// The last error stays as it is, here and in WSAConnect. Compatibility: refusal-without-error-code
SOCKET SecureSocketStrategy::WSAAccept(SOCKET, sockaddr*, int*, LPCONDITIONPROC,
                                       DWORD_PTR) noexcept {
    return INVALID_SOCKET;
}

int SecureSocketStrategy::WSAConnect(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*,
                                     QOS*) noexcept {
    return SOCKET_ERROR;
}

int SecureSocketStrategy::getaddrinfo(const char* nodename, const char* servname,
                                      const addrinfo* hints, addrinfo** res) noexcept {
    const auto body = [&] {
        const int result = underlyingStrategy->getaddrinfo(nodename, servname, hints, res);
        if (result == 0) {
            remoteHostName = nodename == nullptr ? localHostName : convertNarrowToWide(nodename);
            // Without a service name the earlier one is kept. Compatibility: service-name-kept
            if (servname != nullptr) {
                remoteServiceName = convertNarrowToWide(servname);
            }
        }
        return result;
    };
    return guardOperation(log, LogTexts::otherExceptionPrefix, body, noCleanup, lookupFailure);
}

int SecureSocketStrategy::GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename,
                                       const ADDRINFOW* hints, ADDRINFOW** result) noexcept {
    const auto body = [&] {
        const int outcome = underlyingStrategy->GetAddrInfoW(nodename, servicename, hints, result);
        if (outcome == 0) {
            remoteHostName = nodename == nullptr ? localHostName : nodename;
            if (servicename != nullptr) {
                remoteServiceName = servicename;
            }
        }
        return outcome;
    };
    return guardOperation(log, LogTexts::otherExceptionPrefix, body, noCleanup, lookupFailure);
}

} // namespace VexaSsl
