// An overlapped receive that has been posted and not completed yet.
//
// The system must never write ciphertext where the host looks for plaintext, so each of the host's
// buffers is stood in for by one of ours. While a receive is pending the system writes into
// ShadowBuffer::bytes: that memory stays where it is until the entry leaves the queue.
#pragma once

#include "VexaSsl/Sockets.h"

#include <algorithm>
#include <vector>

namespace VexaSsl {

// Stands in for one buffer of the host. It is larger, since what is on the wire is larger than what
// it carries; plaintext beyond the host's buffer is kept for the next completion.
struct ShadowBuffer {
    static constexpr ULONG smallestSize = 1024;

    // The size wraps round at 32 bits: a host's buffer of 4/3 GiB or more gets a smaller one here.
    explicit ShadowBuffer(ULONG callerLength)
        : bytes(std::max<ULONG>(3U * callerLength, smallestSize)) {
        view.len = static_cast<ULONG>(bytes.size());
        view.buf = bytes.data();
    }
    // A move takes the vector's memory along, so the view stays true; a copy's would not.
    ShadowBuffer(ShadowBuffer&&) noexcept = default;
    ShadowBuffer& operator=(ShadowBuffer&&) noexcept = default;
    ShadowBuffer(const ShadowBuffer&) = delete;
    ShadowBuffer& operator=(const ShadowBuffer&) = delete;

    std::vector<char> bytes;
    WSABUF view{};
};

struct PendingReceive {
    PendingReceive(const WSABUF* buffers, DWORD bufferCount)
        : callerBuffers(buffers, buffers + bufferCount) {
        shadowBuffers.reserve(bufferCount);
        for (const WSABUF& buffer : callerBuffers) {
            shadowBuffers.emplace_back(buffer.len);
        }
    }

    std::vector<WSABUF> callerBuffers;       // descriptors only; the memory is the host's
    std::vector<ShadowBuffer> shadowBuffers; // one for each, in the same order
};

} // namespace VexaSsl
