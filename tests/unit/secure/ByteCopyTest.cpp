#include "secure/ByteCopy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl {
namespace {

TEST(ByteCopy, everyByteIsCopiedAndNoneAfterWhateverTheDistance) {
    constexpr std::size_t page = 4096;
    std::vector<char> memory(6 * page);
    for (const std::size_t size : {0U, 1U, 2047U, 2048U, 2049U, 5000U}) {
        for (const std::size_t distance : {0U, 1U, 13U, 31U, 32U}) {
            std::string expected;
            for (std::size_t i = 0; i < size; ++i) {
                expected += memory[i] = static_cast<char>('a' + i % 23);
            }
            char* const destination = memory.data() + 2 * page + distance;
            std::fill(destination - 1, memory.data() + memory.size(), '#');
            copyBytes(memory.data(), size, destination);
            EXPECT_EQ(std::string(destination, size), expected);
            EXPECT_EQ(destination[-1], '#');
            EXPECT_EQ(std::string(destination + size, page), std::string(page, '#'));
        }
    }
}

} // namespace
} // namespace VexaSsl
