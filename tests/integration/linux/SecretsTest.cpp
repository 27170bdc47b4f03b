// Data of connections and keys are never logged. Every test with two hosts searches all log lines
// for them; these tests show that the search works.
#include "fakes/Secrets.h"
#include "integration/support/SharedLog.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

TEST(SecretsInLogs, lineWithContentFailsTheTest) {
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

TEST(SecretsInLogs, keysOfTheTestsAreSearchedFor) {
    EXPECT_GT(secrets::tally().keys, 10U);
}

} // namespace
} // namespace VexaSsl::test
