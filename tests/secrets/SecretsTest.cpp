// Tests of the search itself.
#include "secrets/Secrets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Secrets oneSecret() {
    Secrets secrets;
    secrets.add("it", "the quick brown fox");
    return secrets;
}

TEST(Secrets, partOfASecretIsFound) {
    EXPECT_THAT(oneSecret().foundIn("he said [quick br] and left"),
                ElementsAre("it as text", "it as wide text"));
}

TEST(Secrets, wideTextIsSearchedAsWell) {
    EXPECT_THAT(oneSecret().foundIn(L"quick brown"), ElementsAre("it as text", "it as wide text"));
    const std::string_view bytes("b\0r\0o\0w\0n\0 \0f\0o\0x\0", 18);
    EXPECT_THAT(oneSecret().foundIn(bytes), ElementsAre("it as wide text"));
}

TEST(Secrets, hexadecimalDigitsAreFoundInAnySpacing) {
    for (const char* text :
         {"717569636b20", "71 75 69 63 6B 20", "71:75:69:63:6b:20", "71-75-69-63\n6b-20"}) {
        EXPECT_THAT(oneSecret().foundIn(text), ElementsAre("it as hexadecimal digits")) << text;
    }
}

TEST(Secrets, base64IsFoundAtEveryAlignment) {
    // "the quick brown fox" after no, one and two bytes.
    for (const char* text : {"dGhlIHF1aWNrIGJyb3duIGZveA==", "LnRoZSBxdWljayBicm93biBmb3g=",
                             "Li50aGUgcXVpY2sgYnJvd24gZm94", "dGhlIHF1aW\nNrIGJyb3duIGZveA=="}) {
        EXPECT_THAT(oneSecret().foundIn(text), ElementsAre("it as base64")) << text;
    }
}

TEST(Secrets, unrelatedTextIsNoSecret) {
    EXPECT_THAT(oneSecret().foundIn("the slow brown bear"), IsEmpty());
    EXPECT_THAT(oneSecret().foundIn(L""), IsEmpty());
}

} // namespace
} // namespace VexaSsl::test
