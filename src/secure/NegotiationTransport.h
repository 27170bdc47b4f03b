// Sends and receives handshake tokens through the strategy below, as TLS bytes without framing of
// our own, so that a log layer below sees the handshake too.
//
// Both functions block and need a blocking socket. A failure is logged, then thrown as
// std::runtime_error.
#pragma once

#include "platform/contract/SecuritySupport.h"

namespace VexaSsl {

class NegotiationBuffer;
class SecureSocketRecord;

// Sends all of data, in as many pieces as the strategy takes. Returns length; with length 0 the
// socket isn't touched. Throws "can't send".
DWORD sendNegotiationData(SecureSocketRecord& record, const void* data, DWORD length);

// Receives once; with a missing count, appends to the bytes held. Returns the number of bytes, at
// least 1 and at most what was asked for. Throws "Connection closed" at the end of the stream and
// "can't recv".
//
// If the buffer holds bytes without a missing count, the strategy is asked for 0 bytes.
DWORD receiveNegotiationData(SecureSocketRecord& record, NegotiationBuffer& buffer);

} // namespace VexaSsl
