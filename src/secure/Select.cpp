// SecureSocketStrategy: select, which counts held plaintext as readable.
#include "platform/contract/Winsock.h"
#include "secure/LogTexts.h"
#include "secure/OperationGuard.h"
#include "secure/ReceiveStatus.h"
#include "secure/SecureSocketStrategy.h"

#include <algorithm>
#include <string>

namespace VexaSsl {

namespace {

// The set contains s.
void removeFirst(SOCKET s, fd_set& set) {
    SOCKET* const end = set.fd_array + set.fd_count;
    SOCKET* const found = std::find(set.fd_array, end, s);
    std::copy(found + 1, end, found);
    --set.fd_count;
}

} // namespace

int SecureSocketStrategy::select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                                 const timeval* timeout) noexcept {
    return guardOperation(
        log, L"Can't call select: ",
        [&] { return selectWithRecord(nfds, readfds, writefds, exceptfds, timeout); }, noCleanup,
        [](Interruption) { return SOCKET_ERROR; });
}

// Returns what the select below returns, with the connection's socket counted as readable while
// plaintext is held. Refuses the connection's socket before the connection is secured. Returns
// SOCKET_ERROR without an error code if the ciphertext held can't be decrypted; unlike recv it
// doesn't break then. A partial record doesn't count: if the select below reports the socket, a
// recv may still block for the rest of the record.
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
    if (!record) {
        return refuseCall(L"select", LogTexts::notSecured, WSAENOTCONN);
    }
    DWORD gained = 0;
    if (record->plainBytes().empty() && !isUsable(record->decryptAvailable(1, gained))) {
        return SOCKET_ERROR;
    }
    if (record->plainBytes().empty()) {
        return passThrough();
    }
    if (readfds->fd_count <= 1 && writefds == nullptr && exceptfds == nullptr) {
        platform::WSASetLastError(0);
        return 1; // the set still shows the socket
    }
    return selectBesidePlaintext(nfds, *readfds, writefds, exceptfds, timeout);
}

// The select below checks the other sets and sockets, and may wait for the whole time-out. The
// connection's socket is counted but removed from readfds. Compatibility: select-hides-socket
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
