// What the two log layers tell of one connection: the host's sizes above, the wire's below.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Meeting meetWithLayers() {
    return meet({.client = Settings::encrypted().with("InjectLogLayers", "True"),
                 .server = Settings::serverSending(pki::localhost).with("InjectLogLayers", "True"),
                 .between = RelayPlan{}});
}

// The sum of the sizes that the layer's lines of this operation tell.
std::size_t total(const SharedLog& log, const std::wstring& layer, const std::wstring& operation) {
    const std::wregex line(layer + L" using socket \\[\\d+\\] to " + operation +
                           L" \\[(\\d+)\\] byte message");
    std::size_t sum = 0;
    for (const LogLine& kept : log.lines()) {
        std::wsmatch match;
        if (std::regex_match(kept.text, match, line)) {
            sum += std::stoul(match[1].str());
        }
    }
    return sum;
}

TEST(LogLayers, aSendShowsThePlainSizeAboveAndTheRecordBelow) {
    Meeting meeting = meetWithLayers();
    ASSERT_TRUE(meeting.established());
    const std::size_t before = meeting.relay->passedToServer();
    meeting.client.log->clear();
    ASSERT_TRUE(meeting.client.say("hello"));
    ASSERT_EQ(meeting.server.hear(5), "hello");
    const std::size_t record = meeting.relay->passedToServer() - before;
    EXPECT_GT(record, 5U);
    const std::wstring socket = meeting.client.socketNumber();
    EXPECT_THAT(meeting.client.log->linesWith(L" Layer using "),
                ElementsAre(debug(L"Application Layer using socket [" + socket +
                                  L"] to send [5] byte message"),
                            debug(L"Encryption Layer using socket [" + socket + L"] to send [" +
                                  std::to_wstring(record) + L"] byte message")));
}

TEST(LogLayers, aReceiveShowsTheBufferOfferedAtEachHeight) {
    Meeting meeting = meetWithLayers();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("hello"));
    meeting.server.log->clear();
    ASSERT_EQ(meeting.server.receive(1024), "hello");
    const auto lines = meeting.server.log->linesWith(L" Layer using ");
    ASSERT_EQ(lines.size(), 2U);
    const std::wstring socket = meeting.server.socketNumber();
    EXPECT_EQ(lines[0], debug(L"Application Layer using socket [" + socket +
                              L"] to recv [1024] byte message"));
    const std::wregex below(L"Encryption Layer using socket \\[" + socket +
                            L"\\] to recv \\[(\\d+)\\] byte message");
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(lines[1].text, match, below));
    EXPECT_GT(std::stoul(match[1].str()), 16384U); // room for the largest record
}

TEST(LogLayers, theLowerLayerSeesTheWholeHandshake) {
    Meeting meeting = meetWithLayers();
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(total(*meeting.client.log, L"Encryption Layer", L"send"),
              meeting.relay->passedToServer());
    EXPECT_EQ(total(*meeting.server.log, L"Encryption Layer", L"send"),
              meeting.relay->passedToClient());
    EXPECT_THAT(meeting.client.log->linesWith(L"Application Layer"), IsEmpty());
}

TEST(LogLayers, aCompletedReceiveShowsTheWireSizeAboveAndNothingBelow) {
    Meeting meeting = meetWithLayers();
    ASSERT_TRUE(meeting.established());
    Peer& server = meeting.server;
    ASSERT_TRUE(meeting.client.say("hello"));
    server.log->clear();
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    const std::wstring onTheWire = std::to_wstring(count);
    EXPECT_EQ(server.stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 5U);
    EXPECT_THAT(server.log->linesWith(L" Layer used "),
                ElementsAre(debug(L"Application Layer used socket [" + server.socketNumber() +
                                  L"] to WSARecv [" + onTheWire + L"] byte message")));
}

TEST(LogLayers, withThresholdInfoTheLayersAreSilent) {
    Meeting meeting = meet({.client = Settings::encrypted()
                                          .with("InjectLogLayers", "True")
                                          .with("MinimumSeverityToLog", "Info"),
                            .server = Settings::serverSending(pki::localhost)});
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("hello"));
    EXPECT_THAT(meeting.client.log->linesWith(L" Layer "), IsEmpty());
}

TEST(LogLayers, aPlainStackHasOnlyTheLowerLayer) {
    const Settings plainWithLayers =
        Settings::plain().with("InjectLogLayers", "True").with("MinimumSeverityToLog", "Debug");
    Meeting meeting = meet({.client = plainWithLayers, .server = Settings::plain()});
    ASSERT_TRUE(meeting.established());
    meeting.client.log->clear();
    ASSERT_TRUE(meeting.client.say("hello"));
    EXPECT_THAT(meeting.client.log->lines(),
                ElementsAre(debug(L"Encryption Layer using socket [" +
                                  meeting.client.socketNumber() + L"] to send [5] byte message")));
}

} // namespace
} // namespace VexaSsl::test
