// The bytes received during one handshake. Wiped before the memory is freed, also when it grows.
//
// Threads: the one that runs the handshake.
#pragma once

#include "platform/contract/SecuritySupport.h"
#include "secure/WipingAllocator.h"

namespace VexaSsl {

class NegotiationBuffer {
public:
    // Has 10,000 zero bytes, none held and none missing.
    NegotiationBuffer();
    NegotiationBuffer(const NegotiationBuffer&) = delete;
    NegotiationBuffer& operator=(const NegotiationBuffer&) = delete;

    // In bytes.
    DWORD capacity() const { return static_cast<DWORD>(bytes.size()); }

    // Sets the number of bytes that the package needs in addition to those held; the capacity grows
    // to have + count if it is smaller, by bytes that aren't zeroed. Throws std::runtime_error,
    // with nothing changed, if have + count is more than a receive can ask for.
    void expectMissing(DWORD count);

    // Drops the bytes held. The capacity stays.
    void reset();

    WipedBytes bytes;        // its size is the capacity
    bool hasMissing = false; // the package has given a missing count
    DWORD missing = 0;       // that count; have + missing <= capacity while hasMissing
    DWORD have = 0;          // bytes held, from the start of bytes
};

} // namespace VexaSsl
