// SecureSocketStrategy: send and recv.
#include "frame/DecimalText.h"
#include "platform/contract/WindowsBase.h"
#include "platform/contract/Winsock.h"
#include "secure/LogTexts.h"
#include "secure/OperationGuard.h"
#include "secure/ReceiveStatus.h"
#include "secure/SecureSocketStrategy.h"

#include <algorithm>

namespace VexaSsl {

namespace {

// Of recv too, and without a space before the exception's text. Compatibility: recv-says-send
constexpr const wchar_t* transferPrefix = L"Can't send encrypted message";

int socketError(Interruption) {
    return SOCKET_ERROR;
}

} // namespace

int SecureSocketStrategy::send(SOCKET s, const char* buf, int len, int flags) noexcept {
    return guardOperation(
        log, transferPrefix, [&] { return sendProtected(s, buf, len, flags); }, noCleanup,
        socketError);
}

int SecureSocketStrategy::recv(SOCKET s, char* buf, int len, int flags) noexcept {
    return guardOperation(
        log, transferPrefix,
        [&] {
            return receivePlain({.s = s,
                                 .buf = buf,
                                 .len = len,
                                 .peek = (flags & msgPeek) != 0,
                                 .waitAll = (flags & msgWaitAll) != 0});
        },
        noCleanup, socketError);
}

// Returns len, or SOCKET_ERROR with part of the data possibly sent. After an error inside a record,
// such as a non-blocking socket that took part of it, the connection is unusable.
int SecureSocketStrategy::sendProtected(SOCKET s, const char* buf, int len, int flags) {
    if (!record) {
        return refuseCall(L"send", LogTexts::notSecured, WSAENOTCONN);
    }
    if (len < 0) {
        return refuseCall(L"send", LogTexts::negativeLength, WSAEINVAL);
    }
    int sent = 0;
    while (sent != len) {
        const DWORD chunk =
            std::min(static_cast<DWORD>(len - sent), record->streamSizes->maximumMessageSize);
        DWORD recordSize = 0;
        const SECURITY_STATUS status =
            record->encryptRecord(buf + sent, chunk, record->sendBuffer.data(), recordSize);
        if (status != SEC_E_OK || !writeRecord(s, recordSize, flags)) {
            return SOCKET_ERROR;
        }
        sent += static_cast<int>(chunk);
    }
    return sent;
}

// Writes size bytes of sendBuffer; a send below that takes nothing is repeated without limit.
// Returns whether all was written; if not, the error code is that of the send below.
bool SecureSocketStrategy::writeRecord(SOCKET s, DWORD size, int flags) {
    DWORD written = 0;
    while (written != size) {
        const int accepted = underlyingStrategy->send(s, record->sendBuffer.data() + written,
                                                      static_cast<int>(size - written), flags);
        if (accepted == SOCKET_ERROR) {
            return false;
        }
        written += static_cast<DWORD>(accepted);
    }
    return true;
}

int SecureSocketStrategy::receivePlain(ReceiveCall call) {
    if (call.peek && call.waitAll) {
        platform::WSASetLastError(WSAEOPNOTSUPP);
        return SOCKET_ERROR;
    }
    if (!record) {
        return refuseCall(L"recv", LogTexts::notSecured, WSAENOTCONN);
    }
    if (call.len < 0) {
        return refuseCall(L"recv", LogTexts::negativeLength, WSAEINVAL);
    }
    if (!isUsable(serveHeld(call))) {
        platform::DebugBreak(); // Compatibility: debug-break
        return 0;
    }
    return call.delivered == call.len ? call.delivered : receiveFromNetwork(call);
}

// Reads until the caller has everything, or has something and nothing more is ready. Returns the
// bytes delivered, 0 at the end of the stream, or SOCKET_ERROR if a read fails. What this call has
// delivered before a failure is lost, and also before the peer's TLS closure or request to
// renegotiate. Compatibility: zero-after-data
int SecureSocketStrategy::receiveFromNetwork(ReceiveCall& call) {
    for (;;) {
        const bool mustWait = call.waitAll && call.delivered != call.len;
        const bool moreWaiting = call.delivered < call.len && moreAtSocket();
        if (call.delivered != 0 && !mustWait && !moreWaiting) {
            return call.delivered;
        }
        const int received = underlyingStrategy->recv(
            call.s, record->prepareRead(), static_cast<int>(record->streamSizes->recordSize), 0);
        if (received == SOCKET_ERROR) {
            return SOCKET_ERROR;
        }
        if (received == 0) {
            return call.delivered;
        }
        call.wireBytes += static_cast<DWORD>(received);
        record->takeRead(static_cast<DWORD>(received));
        const SECURITY_STATUS status = serveHeld(call);
        if (!isUsable(status)) {
            platform::DebugBreak();
            if (endsStream(status)) {
                return 0;
            }
            continue; // without the damaged record. Compatibility: damaged-record-skipped
        }
        if (call.delivered == 0) {
            log.log(Severity::Debug,
                    lineAround(L"Haven't received enough data to decrypt. So far, have received [",
                               call.wireBytes, L"]"));
        }
    }
}

// Serves the caller from the record. A peek leaves plainBytes as they are, so its second pass
// copies and counts the first bytes again. Compatibility: peek-counts-twice
SECURITY_STATUS SecureSocketStrategy::serveHeld(ReceiveCall& call) {
    const DWORD rest = static_cast<DWORD>(call.len - call.delivered);
    DWORD served = 0;
    const SECURITY_STATUS status =
        record->readPlain(call.buf + call.delivered, rest, call.peek, served);
    call.delivered += static_cast<int>(served);
    return status;
}

// Doesn't wait. A select that fails counts as true: the read that follows reports the reason.
bool SecureSocketStrategy::moreAtSocket() {
    fd_set readable{};
    readable.fd_count = 1;
    readable.fd_array[0] = socket;
    const timeval noTime{};
    return underlyingStrategy->select(0, &readable, nullptr, nullptr, &noTime) != 0;
}

} // namespace VexaSsl
