// SecureSocketStrategy: WSASend, WSARecv and completeWSARecv. Sending is synchronous only,
// receiving overlapped only.
#include "platform/contract/WindowsBase.h"
#include "platform/contract/Winsock.h"
#include "secure/LogTexts.h"
#include "secure/OperationGuard.h"
#include "secure/ReceiveStatus.h"
#include "secure/SecureSocketStrategy.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl {

// After an exception the strategy forgets its socket, which stays open: select and recv no longer
// work, and the host should close the connection.
// Compatibility: refused-overlapped-forgets-socket
template <typename Body>
int SecureSocketStrategy::guardOverlapped(Body body) {
    return guardOperation(
        log, L"Couldn't acquire a resource. ", body, [this] { socket = INVALID_SOCKET; },
        [](Interruption) { return SOCKET_ERROR; });
}

int SecureSocketStrategy::refuseOverlapped(const wchar_t* reason) {
    log.log(Severity::Error, reason);
    socket = INVALID_SOCKET;
    platform::WSASetLastError(WSAEINVAL);
    return SOCKET_ERROR;
}

int SecureSocketStrategy::WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent,
                                  DWORD flags, WSAOVERLAPPED* overlapped,
                                  LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return guardOverlapped([&] {
        if (overlapped != nullptr || completionRoutine != nullptr) {
            return refuseOverlapped(
                L"WSASend called in an asynchronous manner. This is not yet implemented. ");
        }
        if (!record) {
            return refuseCall(L"WSASend", LogTexts::notSecured, WSAENOTCONN);
        }
        return sendEach(s, buffers, bufferCount, bytesSent, flags);
    });
}

// Each buffer makes records of its own, an empty one none. send is called virtually, so that a
// derived class's send applies.
int SecureSocketStrategy::sendEach(SOCKET s, const WSABUF* buffers, DWORD bufferCount,
                                   DWORD* bytesSent, DWORD flags) {
    const std::vector<WSABUF> pieces(buffers, buffers + bufferCount);
    DWORD total = 0;
    for (const WSABUF& piece : pieces) {
        const int sent = send(s, piece.buf, static_cast<int>(piece.len), static_cast<int>(flags));
        if (sent == SOCKET_ERROR) {
            return SOCKET_ERROR;
        }
        total += static_cast<DWORD>(sent);
    }
    *bytesSent = total;
    return 0;
}

int SecureSocketStrategy::WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount,
                                  DWORD* bytesReceived, DWORD* flags, WSAOVERLAPPED* overlapped,
                                  LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept {
    return guardOverlapped([&] {
        if (overlapped == nullptr && completionRoutine == nullptr) {
            return refuseOverlapped(
                L"WSARecv called in a synchronous manner. This is not yet implemented. ");
        }
        if (!record) {
            return refuseCall(L"WSARecv", LogTexts::notSecured, WSAENOTCONN);
        }
        return postReceive(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                           completionRoutine);
    });
}

// Posts even while plaintext is held, which is delivered at the completion. *bytesReceived of a
// receive that completes at once counts ciphertext. The entry stays in the queue even when the post
// fails, so the next completion gets it. Compatibility: failed-post-stays-queued
int SecureSocketStrategy::postReceive(SOCKET s, const WSABUF* buffers, DWORD bufferCount,
                                      DWORD* bytesReceived, DWORD* flags, WSAOVERLAPPED* overlapped,
                                      LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    constexpr DWORD waitAll = msgWaitAll;
    if ((*flags & waitAll) != 0) {
        // The system would delay the completion until the larger shadow buffers are full.
        log.log(Severity::Debug, L"Stripping MSG_WAITALL from WSARecv");
        *flags &= ~waitAll;
    }
    const PendingReceive& posted =
        pendingReceives.emplace_back(buffers, bufferCount, record->received);
    std::vector<WSABUF> views;
    views.reserve(bufferCount);
    for (const ShadowBuffer& shadow : posted.shadowBuffers) {
        views.push_back(shadow.view);
    }
    DWORD received = 0;
    const int result = underlyingStrategy->WSARecv(s, views.data(), bufferCount, &received, flags,
                                                   overlapped, completionRoutine);
    *bytesReceived = received;
    return result;
}

int SecureSocketStrategy::completeWSARecv(int, DWORD* bytesTransferred, void*) noexcept {
    return guardOverlapped([&] { return completeReceive(bytesTransferred); });
}

int SecureSocketStrategy::completeReceive(DWORD* bytesTransferred) {
    const DWORD transferred = std::exchange(*bytesTransferred, 0);
    if (!record) {
        return refuseCall(L"completeWSARecv", LogTexts::notSecured, WSAENOTCONN);
    }
    if (pendingReceives.empty()) {
        return refuseCall(L"completeWSARecv", LogTexts::nothingPending, WSAEINVAL);
    }
    DWORD delivered = 0;
    const int result = finishPendingReceive(transferred, delivered);
    *bytesTransferred = delivered;
    if (delivered == 0) {
        // The number is the delivered count, always 0. The line also follows a failed decryption
        // and the end of the stream. Compatibility: too-few-bytes-zero
        log.log(Severity::Warning, std::wstring(LogTexts::tooFewBytes) + L" transferred [" +
                                       std::to_wstring(delivered) +
                                       L"] to decrypt even a single crypto message");
    }
    return result;
}

void SecureSocketStrategy::takePendingReceive(DWORD transferred, std::vector<WSABUF>& callerBuffers,
                                              std::vector<ShadowBuffer>& shadowBuffers) {
    PendingReceive oldest = std::move(pendingReceives.front());
    pendingReceives.pop_front();
    callerBuffers = std::move(oldest.callerBuffers);
    std::size_t reached = 0;
    for (ShadowBuffer& shadow : oldest.shadowBuffers) {
        if (reached >= transferred) {
            break;
        }
        reached += shadow.bytes.size();
        shadowBuffers.push_back(std::move(shadow));
    }
}

int SecureSocketStrategy::finishPendingReceive(DWORD transferred, DWORD& delivered) {
    delivered = 0;
    std::vector<WSABUF> callerBuffers;
    std::vector<ShadowBuffer> shadowBuffers;
    takePendingReceive(transferred, callerBuffers, shadowBuffers);

    DWORD left = transferred;
    for (ShadowBuffer& shadow : shadowBuffers) {
        const DWORD count = std::min<DWORD>(shadow.view.len, left);
        record->appendCipher(std::move(shadow.bytes), count);
        left -= count;
    }
    DWORD total = 0;
    for (const WSABUF& buffer : callerBuffers) {
        DWORD served = 0;
        const SECURITY_STATUS status = record->readPlain(buffer.buf, buffer.len, false, served);
        if (!isUsable(status)) {
            // What earlier buffers hold is not counted, so the host loses it.
            return failReceive(status);
        }
        total += served;
    }
    delivered = total;
    return 0; // also if a partial record waits for the next completion
}

int SecureSocketStrategy::failReceive(SECURITY_STATUS status) {
    platform::DebugBreak(); // Compatibility: debug-break
    if (endsStream(status)) {
        platform::WSASetLastError(WSAECONNRESET);
        return -1;
    }
    return status;
}

} // namespace VexaSsl
