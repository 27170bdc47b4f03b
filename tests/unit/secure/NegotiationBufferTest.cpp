#include "secure/NegotiationBuffer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace VexaSsl::test {
namespace {

// Records how much memory is freed and whether it is all zeros.
template <typename Value>
struct WatchingAllocator : std::allocator<Value> {
    template <typename Other>
    struct rebind {
        using other = WatchingAllocator<Other>;
    };
    void deallocate(Value* memory, std::size_t count) {
        returned.push_back(count);
        allZero = allZero && std::all_of(memory, memory + count,
                                         [](const Value& value) { return value == Value{}; });
        std::allocator<Value>::deallocate(memory, count);
    }
    static inline std::vector<std::size_t> returned;
    static inline bool allZero = true;
};

using Watched = std::vector<char, WipingAllocator<char, WatchingAllocator<char>>>;

struct WipingAllocatorTest : testing::Test {
    WipingAllocatorTest() {
        WatchingAllocator<char>::returned.clear();
        WatchingAllocator<char>::allZero = true;
    }
    static const std::vector<std::size_t>& returned() { return WatchingAllocator<char>::returned; }
    static bool allZero() { return WatchingAllocator<char>::allZero; }
};

TEST_F(WipingAllocatorTest, releaseWipesAllOfTheCapacity) {
    {
        Watched bytes(100, 'x');
        bytes.resize(10); // what follows the size is wiped too
    }
    EXPECT_THAT(returned(), testing::ElementsAre(100U));
    EXPECT_TRUE(allZero());
}

TEST_F(WipingAllocatorTest, growthWipesTheOldCopy) {
    Watched bytes(100, 'x');
    bytes.reserve(200);
    EXPECT_THAT(returned(), testing::ElementsAre(100U));
    EXPECT_TRUE(allZero());
    EXPECT_EQ(bytes, Watched(100, 'x'));
}

TEST_F(WipingAllocatorTest, unwindingWipesToo) {
    try {
        const Watched bytes(100, 'x');
        throw std::runtime_error("on the way out");
    } catch (const std::runtime_error&) {
        EXPECT_THAT(returned(), testing::ElementsAre(100U));
    }
    EXPECT_TRUE(allZero());
}

std::string refusal(NegotiationBuffer& buffer, DWORD missing) {
    try {
        buffer.expectMissing(missing);
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "no exception";
}

TEST(NegotiationBufferTest, newBufferHasTenThousandZerosAndNothingHeld) {
    { const std::vector<char> leavesUsedMemory(10000, 'x'); }
    const NegotiationBuffer buffer;
    EXPECT_EQ(buffer.capacity(), 10000U);
    EXPECT_EQ(buffer.bytes.capacity(), 10000U);
    EXPECT_THAT(buffer.bytes, testing::Each('\0'));
    EXPECT_FALSE(buffer.hasMissing);
    EXPECT_EQ(buffer.missing, 0U);
    EXPECT_EQ(buffer.have, 0U);
}

TEST(NegotiationBufferTest, bytesAreInWipedMemory) {
    EXPECT_TRUE((std::is_same_v<decltype(NegotiationBuffer::bytes), WipedBytes>));
}

TEST(NegotiationBufferTest, missingCountThatFitsLeavesTheCapacity) {
    NegotiationBuffer buffer;
    buffer.have = 9000;
    buffer.expectMissing(1000);
    EXPECT_EQ(buffer.capacity(), 10000U);
    EXPECT_TRUE(buffer.hasMissing);
    EXPECT_EQ(buffer.missing, 1000U);
    EXPECT_EQ(buffer.have, 9000U);
}

TEST(NegotiationBufferTest, missingCountThatDoesntFitRaisesTheCapacityToExactlyTheSum) {
    NegotiationBuffer buffer;
    std::fill(buffer.bytes.begin(), buffer.bytes.end(), 'x');
    buffer.have = 9000;
    buffer.expectMissing(1001);
    EXPECT_EQ(buffer.capacity(), 10001U);
    EXPECT_EQ(buffer.bytes.capacity(), 10001U);
    EXPECT_EQ(std::string(buffer.bytes.data(), 10000), std::string(10000, 'x'));
}

TEST(NegotiationBufferTest, resetKeepsTheCapacity) {
    NegotiationBuffer buffer;
    buffer.have = 10;
    buffer.expectMissing(12000);
    buffer.reset();
    EXPECT_FALSE(buffer.hasMissing);
    EXPECT_EQ(buffer.missing, 0U);
    EXPECT_EQ(buffer.have, 0U);
    EXPECT_EQ(buffer.capacity(), 12010U);
}

TEST(NegotiationBufferTest, sumBeyondThirtyTwoBitsIsRefusedAndChangesNothing) {
    NegotiationBuffer buffer;
    buffer.have = 10;
    EXPECT_EQ(refusal(buffer, 0xFFFFFFFF), "negotiation buffer too long");
    EXPECT_FALSE(buffer.hasMissing);
    EXPECT_EQ(buffer.missing, 0U);
    EXPECT_EQ(buffer.capacity(), 10000U);
}

TEST(NegotiationBufferTest, sumThatNoReceiveCouldAskForIsRefused) {
    NegotiationBuffer buffer;
    EXPECT_EQ(refusal(buffer, 0x80000000), "negotiation buffer too long");
}

} // namespace
} // namespace VexaSsl::test
