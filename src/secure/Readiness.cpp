// SecureSocketStrategy: how a connection comes about, and readiness for reading.
#include "VexaSsl/TextConversion.h"
#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"
#include "secure/OperationGuard.h"
#include "secure/ReceiveStatus.h"
#include "secure/SecureSocketStrategy.h"

#include <algorithm>
#include <string>

namespace VexaSsl {

namespace {

// What a look-up without a node name asks for.
constexpr const wchar_t* localHostName = L"localhost";

// The list that the lower look-up made is in the host's hands by now although the look-up is
// reported as failed.
int lookUpFailure(Interruption kind) {
    return kind == Interruption::OutOfMemory ? WSA_NOT_ENOUGH_MEMORY : -1;
}

void removeFirst(SOCKET s, fd_set& set) {
    SOCKET* const end = set.fd_array + set.fd_count;
    SOCKET* const found = std::find(set.fd_array, end, s);
    if (found != end) {
        std::copy(found + 1, end, found);
        --set.fd_count;
    }
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

int SecureSocketStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                                 const timeval* timeout) noexcept {
    return guardOperation(
        log, L"Can't call select: ",
        [&] { return selectWithRecord(nfds, readfds, writefds, exceptfds, timeout); }, nothingFirst,
        [](Interruption) { return SOCKET_ERROR; });
}

// The system knows neither of plaintext that is waiting here nor that what it reports as readable
// may be less than a record, so the record is asked first.
// Result: as the lower select's, with the connection's socket counted as readable when plaintext is
// waiting; SOCKET_ERROR without an error code when the ciphertext held can't be decrypted (no
// breakpoint here, unlike recv). A half record counts for nothing: the lower select decides, and
// when it reports the socket a recv may still block for the rest of the record.
int SecureSocketStrategy::selectWithRecord(int nfds, fd_set* readfds, fd_set* writefds,
                                           fd_set* exceptfds, const timeval* timeout) {
    const auto passThrough = [&] {
        return underlyingStrategy->select(nfds, readfds, writefds, exceptfds, timeout);
    };
    if (readfds == nullptr) {
        return passThrough();
    }
    if (platform::__WSAFDIsSet(socket, readfds) == 0) {
        log.log(Severity::Warning, L"::select() is not being called for the socket [" +
                                       std::to_wstring(socket) +
                                       L"] associated with this security context");
        return passThrough();
    }
    DWORD gained = 0;
    if (record->plainBytes.empty() && !isUsable(record->decryptAvailable(1, gained))) {
        return SOCKET_ERROR;
    }
    if (record->plainBytes.empty()) {
        return passThrough();
    }
    if (readfds->fd_count <= 1 && writefds == nullptr && exceptfds == nullptr) {
        platform::WSASetLastError(0);
        return 1; // the set still shows the socket
    }
    return selectBesidePlaintext(nfds, *readfds, writefds, exceptfds, timeout);
}

// The other sets and sockets are asked below, which may wait for the whole time-out although the
// connection's socket is ready. That socket is counted in the result but gone from readfds: a host
// that looks at the set only would miss it.
int SecureSocketStrategy::selectBesidePlaintext(int nfds, fd_set& readfds, fd_set* writefds,
                                                fd_set* exceptfds, const timeval* timeout) {
    removeFirst(socket, readfds);
    const int others = underlyingStrategy->select(nfds, &readfds, writefds, exceptfds, timeout);
    if (others == SOCKET_ERROR) {
        return SOCKET_ERROR;
    }
    if (others == 0) {
        platform::WSASetLastError(0);
    }
    return others + 1;
}

} // namespace VexaSsl
