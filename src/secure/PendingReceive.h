// An overlapped receive that has been posted and not completed yet.
//
// The system must not write ciphertext into the host's buffers, so a shadow buffer is posted for
// each. While the receive is pending the system writes into ShadowBuffer::bytes, which therefore
// stay in place until the entry leaves the queue.
#pragma once

#include "VexaSsl/Sockets.h"
#include "secure/ReceivedBytes.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace VexaSsl {

// Posted instead of one buffer of the host. It is larger, since a record is larger than its
// plaintext; plaintext beyond the host's buffer is kept for the next completion.
struct ShadowBuffer {
    static constexpr ULONG smallestSize = 1024;

    // The size wraps at 32 bits. Compatibility: shadow-size-wraps
    static ULONG sizeFor(ULONG callerLength) {
        return std::max<ULONG>(3U * callerLength, smallestSize);
    }

    // Uses spare, zero and of the size for callerLength, unless it is empty.
    explicit ShadowBuffer(ULONG callerLength, WipedBytes spare = {}) : bytes(std::move(spare)) {
        if (bytes.empty()) {
            bytes.resize(sizeFor(callerLength));
            std::fill(bytes.begin(), bytes.end(), '\0');
        }
        view.len = static_cast<ULONG>(bytes.size());
        view.buf = bytes.data();
    }
    // A move keeps the vector's memory, so the view stays valid; a copy would not.
    ShadowBuffer(ShadowBuffer&&) noexcept = default;
    ShadowBuffer& operator=(ShadowBuffer&&) noexcept = default;
    ShadowBuffer(const ShadowBuffer&) = delete;
    ShadowBuffer& operator=(const ShadowBuffer&) = delete;

    WipedBytes bytes; // records are decrypted here
    WSABUF view{};
};

struct PendingReceive {
    // received may have spare memory for a shadow buffer.
    PendingReceive(const WSABUF* buffers, DWORD bufferCount, ReceivedBytes& received)
        : callerBuffers(buffers, buffers + bufferCount) {
        shadowBuffers.reserve(bufferCount);
        for (const WSABUF& buffer : callerBuffers) {
            shadowBuffers.emplace_back(buffer.len,
                                       received.takeSpare(ShadowBuffer::sizeFor(buffer.len)));
        }
    }

    std::vector<WSABUF> callerBuffers;       // descriptors only; the memory is the host's
    std::vector<ShadowBuffer> shadowBuffers; // one for each, in the same order
};

} // namespace VexaSsl
