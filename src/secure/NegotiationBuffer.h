// Collects the bytes that a peer sends during one handshake.
//
// Lives on the stack of a handshake driver and belongs to its thread. What it held is overwritten
// with zeros before the memory is freed, on success, on failure and when it grows.
#pragma once

#include "platform/contract/SecuritySupport.h"
#include "secure/WipingAllocator.h"

namespace VexaSsl {

class NegotiationBuffer {
public:
    // 10,000 zero bytes, nothing held, nothing missing.
    NegotiationBuffer();
    NegotiationBuffer(const NegotiationBuffer&) = delete;
    NegotiationBuffer& operator=(const NegotiationBuffer&) = delete;

    // Bytes, not what is held of them.
    DWORD capacity() const { return static_cast<DWORD>(bytes.size()); }

    // Takes note that the package lacks count bytes behind those held. Afterwards they fit: the
    // capacity grows to exactly have + count if it is smaller, with the content kept. Throws
    // std::length_error when no single receive could ask for them, and std::bad_alloc; then nothing
    // has changed.
    void expectMissing(DWORD count);

    // Everything received counts as consumed. The capacity stays.
    void reset();

    WipedBytes bytes;        // its size is the capacity
    bool hasMissing = false; // the package has said how many bytes it lacks
    DWORD missing = 0;       // that number; have + missing <= capacity while hasMissing
    DWORD have = 0;          // bytes held, from the start of bytes
};

} // namespace VexaSsl
