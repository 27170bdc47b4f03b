// Memory in whole pages.
#include "platform/contract/Pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace VexaSsl::test {
namespace {

TEST(MapPages, everyByteIsZeroAndMayBeWritten) {
    constexpr std::size_t size = 1'000'000;
    for (int round = 0; round < 2; ++round) {
        char* const pages = static_cast<char*>(platform::mapPages(size));
        ASSERT_NE(pages, nullptr);
        EXPECT_EQ(std::count(pages, pages + size, '\0'), static_cast<std::ptrdiff_t>(size));
        std::fill_n(pages, size, 'x');
        platform::unmapPages(pages, size);
    }
}

TEST(MapPages, moreThanThereIsGivesNull) {
    EXPECT_EQ(platform::mapPages(std::numeric_limits<std::size_t>::max() / 2), nullptr);
}

} // namespace
} // namespace VexaSsl::test
