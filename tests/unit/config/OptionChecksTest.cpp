#include "config/OptionChecks.h"

#include "fakes/CollectingLog.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

TEST(OptionChecks, booleanWordsAreReadInAnyLetterCase) {
    bool value = false;
    EXPECT_TRUE(parseBoolean(L"tRUE", value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(parseBoolean(L"FALSE", value));
    EXPECT_FALSE(value);
}

TEST(OptionChecks, otherTextIsNoBooleanAndLeavesTheResultAlone) {
    bool value = true;
    EXPECT_FALSE(parseBoolean(L"Yes", value));
    EXPECT_FALSE(parseBoolean(L"False ", value));
    EXPECT_FALSE(parseBoolean(L"", value));
    EXPECT_TRUE(value);
}

TEST(OptionChecks, refusedValueIsOneErrorLine) {
    CollectingLog log;
    EXPECT_FALSE(refuseValue(log, L"UseEncryption", L"Yes"));
    EXPECT_EQ(log.lines, (std::vector<LogLine>{
                             {Severity::Error, L"Supplied value [Yes] of UseEncryption is invalid"},
                         }));
}

TEST(OptionChecks, invalidConfigurationIsOutOfRangeWithItsText) {
    try {
        throwInvalidConfiguration();
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ(failure.what(), "invalid configuration");
    }
}

} // namespace
} // namespace VexaSsl::test
