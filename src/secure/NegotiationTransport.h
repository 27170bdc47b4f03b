// Carries handshake tokens over the strategy below: raw TLS handshake bytes, without any framing of
// the library's own, so that a log layer below sees the handshake too.
//
// Both block the calling thread, need a blocking socket, and treat every failure as the end of the
// handshake: the detail goes to the log, then std::runtime_error is thrown.
#pragma once

#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

class NegotiationBuffer;
class SecureSocketRecord;

// Sends all of data, in as many pieces as the strategy takes it. Returns length; with length 0 the
// socket isn't touched. Throws "can't send".
DWORD sendNegotiationData(SecureSocketRecord& record, const void* data, DWORD length);

// One receive, appended behind what the buffer holds when the package has told how much is missing.
// Returns the bytes received, above 0 and perhaps fewer than asked for. Throws "Connection closed"
// when the peer has gone and "can't recv".
//
// A buffer that holds bytes without a missing count asks the strategy for 0 bytes. Where that gives
// 0, the handshake ends as if the peer had gone.
DWORD receiveNegotiationData(SecureSocketRecord& record, NegotiationBuffer& buffer);

} // namespace VexaSsl
