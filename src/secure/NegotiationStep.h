// What both handshake drivers share: the buffers of one call of the package, the common log lines
// and exceptions, and the rules for alerts, tokens and missing bytes.
//
// Threads: the one that runs the handshake.
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

// Two buffers in the package's form. A call may change their types, sizes and pointers.
class BufferPair {
public:
    BufferPair() = default;
    BufferPair(const BufferPair&) = delete;
    BufferPair& operator=(const BufferPair&) = delete;

    // Input: the bytes held, then an empty entry.
    void offerReceived(NegotiationBuffer& buffer);
    // Output: a token and an alert, both to be allocated by the package.
    void expectTokenAndAlert();

    SecBufferDesc* description() { return &shape; }
    // The first buffer of the type, or null.
    const SecBuffer* find(ULONG type) const;

private:
    void describe(const SecBuffer& first, const SecBuffer& second);

    std::array<SecBuffer, 2> entries{};
    SecBufferDesc shape{};
};

// Whether the status is one of the four that don't end the handshake. All others end it, positive
// ones included.
bool continuesNegotiation(SECURITY_STATUS status);

// Logs "<call> succeeded with: <status> (<text>)" at Debug.
void logStep(ILog& log, std::wstring_view call, SECURITY_STATUS status);

// After an incomplete message: gives the buffer the number of missing bytes that the package has
// stored in its input. Without one nothing changes, and the next receive asks for 0 bytes.
void expectMissingBytes(const BufferPair& input, NegotiationBuffer& buffer);

// Calls DebugBreak if the package produced an alert. Returns whether it did: then the handshake
// waits for the peer, even if the status is SEC_E_OK. The alert is neither sent nor freed.
bool breakOnAlert(const BufferPair& output);

// Returns the memory of the token in output, now owned, or null. A failing call may produce a token
// too; if that leaked, a peer could exhaust the memory by failing handshakes.
ContextBuffer<void> tokenMemory(const BufferPair& output);

// Throws ConnectionError("no confidentiality"), after an Error line, if the attributes of the
// established context lack encryption.
void requireConfidentiality(ILog& log, ULONG attributes);

// Writes the two lines of a successful handshake; side is "client" or "server".
void reportCompletion(const SecureSocketRecord& record, std::wstring_view side,
                      std::wstring_view call, std::uint32_t iterations);

// Throws ConnectionError(text) after the Warning line of a failed handshake. received is what the
// failing call was given, which tells whether the peer's alert or this side's judgement ended it.
[[noreturn]] void abandonNegotiation(const SecureSocketRecord& record, const char* text,
                                     SECURITY_STATUS status, const NegotiationBuffer& received);

} // namespace VexaSsl
