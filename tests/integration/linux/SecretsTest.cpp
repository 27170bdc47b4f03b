// What connections carry, and keys, never reach a log. Every test that meets two hosts looks for
// them in all lines that its logs are given; here stands what that is worth.
#include "fakes/Secrets.h"
#include "integration/support/SharedLog.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

TEST(SecretsInLogs, aLineThatHoldsContentFailsTheTest) {
    secrets::addContent("the content of a connection");
    SharedLog log;
    EXPECT_NONFATAL_FAILURE(log.log(Severity::Debug, L"received [the content of a connection]"),
                            "what a connection carried");
    EXPECT_NONFATAL_FAILURE(log.log(Severity::Debug, L"74686520636F6E74656E74206F6620612063"),
                            "what a connection carried");
    log.log(Severity::Debug, L"received [27] byte message");
    EXPECT_NONFATAL_FAILURE(secrets::searchIn("hello\n>the content of a connection<\nbye\n"),
                            "what a connection carried");
    EXPECT_EQ(secrets::tally().found, 3U);
    secrets::resetFindings();
}

TEST(SecretsInLogs, keysOfTheTestsAreKnown) {
    EXPECT_GT(secrets::tally().keys, 10U);
}

} // namespace
} // namespace VexaSsl::test
