// The first and the last record in a sequence of bytes, at the limits of each field.
#include "platform/openssl/tls/RecordBoundary.h"
#include "contract/tls/Side.h"

#include <gtest/gtest.h>

#include <ostream>

namespace VexaSsl::openssl {

bool operator==(const RecordExtent& left, const RecordExtent& right) {
    return left.boundary == right.boundary && left.size == right.size &&
           left.missing == right.missing;
}

void PrintTo(const RecordExtent& extent, std::ostream* out) {
    *out << static_cast<int>(extent.boundary) << ' ' << extent.size << ' ' << extent.missing;
}

} // namespace VexaSsl::openssl

namespace VexaSsl::test {
namespace {

using namespace openssl;

constexpr RecordExtent notTls{};

RecordExtent whole(std::size_t size) {
    return {Boundary::whole, size, 0};
}
RecordExtent partial(std::size_t missing) {
    return {Boundary::partial, 0, missing};
}

TEST(RecordBoundary, typeAndVersionAreChecked) {
    EXPECT_EQ(firstRecord(Bytes{}), partial(5));
    EXPECT_EQ(firstRecord(Bytes{19}), notTls);
    EXPECT_EQ(firstRecord(Bytes{20}), partial(4));
    EXPECT_EQ(firstRecord(Bytes{23}), partial(4));
    EXPECT_EQ(firstRecord(Bytes{24}), notTls);
    EXPECT_EQ(firstRecord(Bytes{23, 2}), notTls);
    EXPECT_EQ(firstRecord(Bytes{23, 3}), partial(3));
    EXPECT_EQ(firstRecord(Bytes{23, 4}), notTls);
}

TEST(RecordBoundary, payloadIsLimited) {
    EXPECT_EQ(firstRecord(Bytes{23, 3, 3, 0, 0}), whole(5));
    EXPECT_EQ(firstRecord(Bytes{23, 3, 3, 0, 2, 7}), partial(1));
    EXPECT_EQ(firstRecord(Bytes{23, 3, 3, 0, 1, 7, 8}), whole(6));
    EXPECT_EQ(firstRecord(Bytes{23, 3, 3, 0x48, 0x00}), partial(0x4800));
    EXPECT_EQ(firstRecord(Bytes{23, 3, 3, 0x48, 0x01}), notTls);
}

TEST(RecordBoundary, lastRecordFollowsWholeOnes) {
    const Bytes record = {23, 3, 3, 0, 1, 7};
    EXPECT_EQ(lastRecord(Bytes{}), partial(5));
    EXPECT_EQ(lastRecord(record + record), whole(6));
    EXPECT_EQ(lastRecord(record + Bytes{23, 3, 3, 0, 2, 7}), partial(1));
    EXPECT_EQ(lastRecord(record + Bytes{19}), notTls);
}

} // namespace
} // namespace VexaSsl::test
