#include "platform/openssl/tls/RecordCounter.h"

#include "platform/openssl/tls/BigEndian.h"

#include <algorithm>
#include <cstddef>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t nonceSize = 8;

} // namespace

void RecordCounter::count(ByteView records) noexcept {
    while (!records.empty()) {
        const RecordExtent extent = firstRecord(records);
        if (extent.boundary != Boundary::whole) {
            onlyWholeRecords = false;
            return;
        }
        countRecord(records.first(extent.size));
        records = records.subspan(extent.size);
    }
}

void RecordCounter::countRecord(ByteView record) noexcept {
    if (isProtected) {
        const ByteView payload = record.subspan(recordHeaderSize);
        ++protectedRecords;
        explicitNonce = readBigEndian(payload.first(std::min(nonceSize, payload.size())));
        return;
    }
    isProtected = record[0] == static_cast<unsigned char>(ContentType::changeCipherSpec);
}

} // namespace VexaSsl::openssl
