#include "secure/NegotiationBuffer.h"

#include "frame/ConnectionError.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace VexaSsl {

namespace {

constexpr std::size_t initialCapacity = 10000;

// A receive takes its length as an int.
constexpr std::uint64_t maximumCapacity = std::numeric_limits<std::int32_t>::max();

} // namespace

NegotiationBuffer::NegotiationBuffer() : bytes(initialCapacity) {
    std::fill(bytes.begin(), bytes.end(), '\0');
}

void NegotiationBuffer::expectMissing(DWORD count) {
    const std::uint64_t needed = std::uint64_t{have} + count;
    if (needed > maximumCapacity) {
        throw ConnectionError(FailureCause::Protocol, "negotiation buffer too long");
    }
    if (needed > bytes.size()) {
        // reserve allocates exactly that much; resize alone may allocate more.
        bytes.reserve(static_cast<std::size_t>(needed));
        bytes.resize(static_cast<std::size_t>(needed));
    }
    hasMissing = true;
    missing = count;
}

void NegotiationBuffer::reset() {
    hasMissing = false;
    missing = 0;
    have = 0;
}

} // namespace VexaSsl
