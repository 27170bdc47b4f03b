// What connections carry, and keys, never reach a log. Every test looks for them in all lines that
// its logs are given; here stand what that is worth, and a tour of stacks and failures that counts.
#include "fakes/Sweep.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"
#include "integration/support/Secrets.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string content = "the content of a connection";

TEST(Secrets, aLineThatHoldsContentFailsTheTest) {
    secrets::carry(content);
    SharedLog log;
    EXPECT_NONFATAL_FAILURE(log.log(Severity::Debug, L"received [the content of a connection]"),
                            "what a connection carried");
    EXPECT_NONFATAL_FAILURE(log.log(Severity::Debug, L"74686520636F6E74656E74206F6620612063"),
                            "what a connection carried");
    log.log(Severity::Debug, L"received [27] byte message");
}

TEST(Secrets, keysOfTheTestsAreKnown) {
    EXPECT_GT(secrets::tally().keys, 10U);
}

// Sends both ways, as far as the connection is there.
void converse(Meeting& meeting) {
    if (meeting.established() && meeting.client.say(content)) {
        EXPECT_EQ(meeting.server.hear(content.size()), content);
        EXPECT_TRUE(meeting.server.say(content));
        EXPECT_EQ(meeting.client.receive(10, msgPeek).value_or(""), content.substr(0, 10));
        EXPECT_EQ(meeting.client.hear(content.size()), content);
    }
}

std::vector<Plan> tour() {
    const auto layered = [](const Settings& settings) {
        return settings.with("InjectLogLayers", "True");
    };
    return {
        {.client = layered(Settings::plain()), .server = layered(Settings::plain())},
        {.client = layered(Settings::encrypted()),
         .server = layered(Settings::serverSending(pki::localhost))},
        {.client = layered(Settings::clientSending(pki::client)),
         .server = layered(Settings::serverSending(pki::localhostElliptic))
                       .with("RequireClientAuthentication", "True"),
         .accepting = Accepting::blocking},
        {.client = Settings::encrypted(), .server = Settings::serverSending(pki::expired)},
        {.client = Settings::encrypted(), .server = Settings::serverSending(pki::untrusted)},
        {.client = Settings::encrypted(), .server = Settings::serverSending("no such certificate")},
    };
}

TEST(Secrets, noStackAndNoFailureShowsAny) {
    const secrets::Tally before = secrets::tally();
    std::size_t established = 0;
    std::size_t refused = 0;
    for (const Plan& plan : tour()) {
        Meeting meeting = meet(plan);
        ++(meeting.established() ? established : refused);
        converse(meeting);
    }
    EXPECT_EQ(established, 3U);
    EXPECT_EQ(refused, 3U);
    const secrets::Tally tally = secrets::tally();
    const std::size_t found = tally.found - before.found;
    const std::size_t lines = tally.lines - before.lines;
    EXPECT_EQ(found, 0U);
    EXPECT_GT(lines, 200U);
    tellFigure("Secrets", "logs of " + std::to_string(established) + " conversations and " +
                              std::to_string(refused) + " refusals: content or one of " +
                              std::to_string(tally.keys) + " keys in " + std::to_string(found) +
                              " of " + std::to_string(lines) +
                              " lines; each integration test fails when a line holds any");
}

} // namespace
} // namespace VexaSsl::test
