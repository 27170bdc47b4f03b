// What the drivers of the two handshakes share: the buffers of one call of the package, the lines
// and exceptions that are alike on both sides, and the rules for alerts, tokens and missing bytes.
// Where client and server differ, each driver says so itself.
//
// Everything here belongs to the one thread that runs the handshake.
#pragma once

#include "VexaSsl/ILog.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/ContextBuffer.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace VexaSsl {

class NegotiationBuffer;
class SecureSocketRecord;

// Two buffers as the package takes them: their types tell what they hold, and a call may change
// types, sizes and places.
class BufferPair {
public:
    BufferPair() = default;
    BufferPair(const BufferPair&) = delete;
    BufferPair& operator=(const BufferPair&) = delete;

    // In: the bytes held, then an empty entry.
    void offerReceived(NegotiationBuffer& buffer);
    // Out: a token and an alert, both to be allocated by the package.
    void expectTokenAndAlert();

    SecBufferDesc* description() { return &shape; }
    // The first buffer of the type, or null.
    const SecBuffer* find(ULONG type) const;

private:
    void describe(const SecBuffer& first, const SecBuffer& second);

    std::array<SecBuffer, 2> entries{};
    SecBufferDesc shape{};
};

// One of the four statuses with which a negotiation isn't lost. All others, positive ones included,
// end it.
bool continuesNegotiation(SECURITY_STATUS status);

// "<call> succeeded with: <status> (<text>)" as a Debug line, also for a status that asks for more.
void logStep(ILog& log, std::wstring_view call, SECURITY_STATUS status);

// After an incomplete message: has the buffer expect the number of bytes that the package put into
// its input. Without such a number nothing changes, and the receive that follows asks for 0 bytes.
void expectMissingBytes(const BufferPair& input, NegotiationBuffer& buffer);

// The value that says whether the negotiation is complete (SEC_E_OK: yes): the status, but -1 when
// the package made an alert. That alert is neither sent nor freed; the process stops in a debugger,
// if there is one, and the negotiation goes on and waits for the peer.
SECURITY_STATUS decidingValue(SECURITY_STATUS status, const BufferPair& output);

// The memory of the token that a call has brought, to be owned from then on; null without one. Even
// a failing call may bring one, which isn't sent, and nothing between the call and the sending may
// lose it: a peer could make the process grow by negotiations that fail.
ContextBuffer<void> tokenMemory(const BufferPair& output);

// Throws std::runtime_error("no confidentiality"), after an Error line, when the attributes of the
// established context don't promise encryption.
void requireConfidentiality(ILog& log, ULONG attributes);

// The two lines of a finished negotiation; side is "client" or "server".
void reportCompletion(const SecureSocketRecord& record, std::wstring_view side,
                      std::wstring_view call, std::uint32_t iterations);

// The Warning line of a negotiation that the package ended, and std::runtime_error(text).
[[noreturn]] void abandonNegotiation(const SecureSocketRecord& record, const char* text);

} // namespace VexaSsl
