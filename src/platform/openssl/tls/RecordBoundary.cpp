#include "platform/openssl/tls/RecordBoundary.h"
#include <cstddef>

namespace VexaSsl::openssl {
namespace {

constexpr unsigned char majorVersion = 3; // of every TLS version

bool mayBeHeader(ByteView bytes) noexcept {
    const bool isTypeValid =
        bytes.empty() || (bytes[0] >= static_cast<unsigned char>(ContentType::changeCipherSpec) &&
                          bytes[0] <= static_cast<unsigned char>(ContentType::applicationData));
    const bool isVersionValid = bytes.size() < 2 || bytes[1] == majorVersion;
    return isTypeValid && isVersionValid;
}

RecordExtent partial(std::size_t missing) noexcept {
    return {.boundary = Boundary::partial, .size = 0, .missing = missing};
}

} // namespace

RecordExtent firstRecord(ByteView bytes) noexcept {
    if (!mayBeHeader(bytes)) {
        return {};
    }
    if (bytes.size() < recordHeaderSize) {
        return partial(recordHeaderSize - bytes.size());
    }
    const std::size_t payload = static_cast<std::size_t>(bytes[3]) << 8 | bytes[4];
    if (payload > recordPayloadLimit) {
        return {};
    }
    const std::size_t size = recordHeaderSize + payload;
    if (bytes.size() < size) {
        return partial(size - bytes.size());
    }
    return {.boundary = Boundary::whole, .size = size, .missing = 0};
}

RecordExtent lastRecord(ByteView bytes) noexcept {
    RecordExtent extent = firstRecord(bytes);
    while (extent.boundary == Boundary::whole && extent.size < bytes.size()) {
        bytes = bytes.subspan(extent.size);
        extent = firstRecord(bytes);
    }
    return extent;
}

} // namespace VexaSsl::openssl
