#include "secure/WorkBuffer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl {
namespace {

using testing::Each;

constexpr std::size_t recordSize = 16'413;

TEST(WorkBuffer, startsAsZeros) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, recordSize, std::size_t{100'000}}) {
        const WorkBuffer buffer(size);
        EXPECT_EQ(buffer.size(), size);
        EXPECT_THAT(buffer, Each('\0')) << size;
    }
}

// The other buffer keeps the memory that both share.
TEST(WorkBuffer, memoryIsZeroWhenItIsTakenAgain) {
    const WorkBuffer other(recordSize);
    const char* before = nullptr;
    {
        WorkBuffer buffer(recordSize);
        before = buffer.data();
        buffer.use(recordSize);
        std::fill(buffer.begin(), buffer.end(), 'x');
    }
    const WorkBuffer buffer(recordSize);
    EXPECT_EQ(buffer.data(), before);
    EXPECT_THAT(buffer, Each('\0'));
}

TEST(WorkBuffer, shrinkingWipesWhatWasUsedBehind) {
    WorkBuffer buffer(10);
    buffer.use(6);
    buffer.use(3);
    std::fill_n(buffer.begin(), 6, 'x');
    buffer.shrink(8);
    buffer.shrink(2);
    EXPECT_EQ(std::string(buffer.data(), 10), "xx" + std::string(8, '\0'));
}

TEST(WorkBuffer, movedBufferHasTheMemory) {
    WorkBuffer source(10);
    const char* const before = source.data();
    WorkBuffer target(5);
    target = std::move(source);
    EXPECT_EQ(target.data(), before);
    EXPECT_EQ(target.size(), 10U);
    const WorkBuffer last(std::move(target));
    EXPECT_EQ(last.data(), before);
}

TEST(WorkBuffer, buffersNeverOverlap) {
    std::vector<WorkBuffer> buffers;
    for (int round = 0; round < 3; ++round) {
        while (buffers.size() < 100) {
            buffers.emplace_back(recordSize);
        }
        std::vector<const char*> places;
        for (const WorkBuffer& buffer : buffers) {
            places.push_back(buffer.data());
        }
        std::sort(places.begin(), places.end());
        for (std::size_t i = 1; i < places.size(); ++i) {
            ASSERT_GE(places[i] - places[i - 1], static_cast<std::ptrdiff_t>(recordSize));
        }
        for (std::size_t i = 0; i < 60; ++i) {
            buffers.erase(buffers.begin() + static_cast<std::ptrdiff_t>(i * 7 % buffers.size()));
        }
    }
}

// As after fork, and as Windows stops the threads of a process that exits.
TEST(WorkBuffer, processExitsThoughAStoppedThreadHoldsTheLock) {
    std::atomic<bool> isOver = false;
    std::thread user([&isOver] {
        while (!isOver) {
            const WorkBuffer buffer(1'000'000);
        }
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "");
    }
    isOver = true;
    user.join();
}

TEST(WorkBuffer, lackOfMemoryIsReported) {
    EXPECT_THROW(const WorkBuffer buffer(std::numeric_limits<std::size_t>::max() / 2),
                 std::bad_alloc);
}

} // namespace
} // namespace VexaSsl
