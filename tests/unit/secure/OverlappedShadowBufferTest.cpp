#include "secure/PendingReceive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace VexaSsl {
namespace {

TEST(ShadowBuffer, shadowBufferIsThreeTimesAsLargeAndAtLeast1024) {
    EXPECT_EQ(ShadowBuffer(100).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(1000).bytes.size(), 3000U);
    EXPECT_EQ(ShadowBuffer(0).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(341).bytes.size(), 1024U);
    EXPECT_EQ(ShadowBuffer(342).bytes.size(), 1026U);
}

TEST(ShadowBuffer, sizeWrapsAt32Bits) {
    EXPECT_EQ(ShadowBuffer(0x55555556).bytes.size(), 1024U); // three times this is 2^32 + 2
    EXPECT_EQ(ShadowBuffer(0x55555955).bytes.size(), 3071U);
}

TEST(ShadowBuffer, viewDescribesTheBytesAlsoAfterAMove) {
    ShadowBuffer first(1000);
    ShadowBuffer second(std::move(first));
    EXPECT_EQ(second.view.buf, second.bytes.data());
    EXPECT_EQ(second.view.len, second.bytes.size());
}

TEST(ShadowBuffer, bytesAreZero) {
    const ShadowBuffer shadow(1000);
    EXPECT_EQ(std::count(shadow.bytes.begin(), shadow.bytes.end(), '\0'), 3000);
}

} // namespace
} // namespace VexaSsl
