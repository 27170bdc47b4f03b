#include "platform/openssl/tls/RecordTally.h"

#include "platform/openssl/tls/BigEndian.h"

#include <algorithm>
#include <cstddef>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t nonceSize = 8;

} // namespace

void RecordTally::note(ByteView records) noexcept {
    while (!records.empty()) {
        const RecordExtent extent = firstRecord(records);
        if (extent.boundary != Boundary::whole) {
            isComplete = false;
            return;
        }
        noteOne(records.first(extent.size));
        records = records.subspan(extent.size);
    }
}

void RecordTally::noteOne(ByteView record) noexcept {
    if (isProtected) {
        const ByteView payload = record.subspan(recordHeaderSize);
        ++count;
        nonce = readBigEndian(payload.first(std::min(nonceSize, payload.size())));
        return;
    }
    isProtected = record[0] == static_cast<unsigned char>(ContentType::changeCipherSpec);
}

} // namespace VexaSsl::openssl
