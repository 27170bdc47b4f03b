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

// The list that the lower look-up made is in the host's hands by now although the look-up is
// reported as failed.
int lookUpFailure(Interruption kind) {
    return kind == Interruption::OutOfMemory ? WSA_NOT_ENOUGH_MEMORY : -1;
}

} // namespace

int SecureSocketStrategy::connect(SOCKET s, const sockaddr* name, int namelen) noexcept {
    const auto body = [&] {
        if (remoteHostName.empty()) {
            log.log(Severity::Error, noHostNameText);
            platform::WSASetLastError(WSAEINVAL);
            return SOCKET_ERROR;
        }
        // A connect in progress on a socket that doesn't block is a failure here too, and nothing
        // secures the connection later.
        const int result = underlyingStrategy->connect(s, name, namelen);
        if (result != SOCKET_ERROR) {
            socket = s;
            secureConnection(false, remoteHostName);
        }
        return result;
    };
    return guardOperation(log, noSecurityContextPrefix, body, nothingFirst,
                          [this](Interruption) { return failHandshake(), SOCKET_ERROR; });
}

SOCKET SecureSocketStrategy::accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept {
    const auto body = [&] {
        socket = underlyingStrategy->accept(s, addr, addrlen);
        if (socket != INVALID_SOCKET) {
            secureConnection(true, addr == nullptr ? L"" : peerHostName(log, addr, *addrlen));
        }
        return socket;
    };
    return guardOperation(log, noSecurityContextPrefix, body, nothingFirst,
                          [this](Interruption) { return failHandshake(), INVALID_SOCKET; });
}

BOOL SecureSocketStrategy::AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer,
                                    DWORD receiveDataLength, DWORD localAddressLength,
                                    DWORD remoteAddressLength, DWORD* bytesReceived,
                                    OVERLAPPED* overlapped) noexcept {
    // Noted before a connection exists and even when the call is refused: completeAcceptEx has
    // nothing else to go by.
    socket = acceptSocket;
    if (receiveDataLength != 0) {
        log.log(Severity::Error,
                L"AcceptEx cannot be secured if it is asked to do the initial read");
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
            platform::WSASetLastError(WSAECONNABORTED);
            return SOCKET_ERROR;
        }
        secureConnection(true, {});
        return 0;
    };
    return guardOperation(log, noSecurityContextPrefix, body, nothingFirst,
                          [this](Interruption) { return failHandshake(), SOCKET_ERROR; });
}

// A host that wants encryption uses accept or AcceptEx, and connect. The last error stays as it is.
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
            // Unlike the host's, a service name of an earlier look-up stays when none is given.
            if (servname != nullptr) {
                remoteServiceName = convertNarrowToWide(servname);
            }
        }
        return result;
    };
    return guardOperation(log, otherExceptionPrefix, body, nothingFirst, lookUpFailure);
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
    return guardOperation(log, otherExceptionPrefix, body, nothingFirst, lookUpFailure);
}

} // namespace VexaSsl
