#include "secure/NegotiationTransport.h"
#include "secure/LogTexts.h"

#include "frame/ConnectionError.h"
#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"
#include "secure/NegotiationBuffer.h"
#include "secure/SecureSocketRecord.h"

#include <string>

namespace VexaSsl {

namespace {

[[noreturn]] void failTransport(ILog& log, const wchar_t* operation, const char* text) {
    const int error = platform::WSAGetLastError();
    logSystemError(log, operation, static_cast<DWORD>(error));
    throw ConnectionError(causeOfSocketError(error), text, error);
}

// How much to ask the strategy for.
DWORD sizeToReceive(const NegotiationBuffer& buffer) {
    if (buffer.hasMissing) {
        return buffer.missing;
    }
    // The package found the message incomplete and didn't say by how much. The receive of 0 bytes
    // usually returns 0, which ends the handshake. Compatibility: receive-of-zero-bytes
    if (buffer.have > 0) {
        return 0;
    }
    return buffer.capacity();
}

void addReceived(NegotiationBuffer& buffer, DWORD count) {
    if (buffer.hasMissing) {
        buffer.hasMissing = false;
        buffer.have += count;
    } else {
        buffer.have = count;
    }
}

} // namespace

DWORD sendNegotiationData(SecureSocketRecord& record, const void* data, DWORD length) {
    record.log.log(Severity::Debug,
                   lineAround(L"sending [", length, L"] byte message (during negotiation)"));
    const char* bytes = static_cast<const char*>(data);
    DWORD sent = 0;
    while (sent != length) {
        const int result = record.underlyingStrategy.send(record.socket, bytes + sent,
                                                          static_cast<int>(length - sent), 0);
        if (result == SOCKET_ERROR) {
            failTransport(record.log, LogTexts::negotiationSend, "can't send");
        }
        sent += static_cast<DWORD>(result); // 0 is not a failure: the same bytes are sent again
    }
    return sent;
}

DWORD receiveNegotiationData(SecureSocketRecord& record, NegotiationBuffer& buffer) {
    const DWORD size = sizeToReceive(buffer);
    const int result = record.underlyingStrategy.recv(
        record.socket, buffer.bytes.data() + buffer.have, static_cast<int>(size), 0);
    if (result == 0) {
        record.log.log(Severity::Warning, LogTexts::closedInNegotiation);
        throw ConnectionError(FailureCause::Transport, "Connection closed");
    }
    if (result == SOCKET_ERROR) {
        failTransport(record.log, LogTexts::negotiationReceive, "can't recv");
    }
    const DWORD count = static_cast<DWORD>(result);
    addReceived(buffer, count);
    record.log.log(Severity::Debug, lineAround(L"received [", count, L"] byte message"));
    return count;
}

} // namespace VexaSsl
