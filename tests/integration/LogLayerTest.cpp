// The lines of the two log layers: sizes of plaintext above, of ciphertext below.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

ConnectedPair meetWithLayers() {
    return connectPair(
        {.client = Settings::encrypted().with("InjectLogLayers", "True"),
         .server = Settings::serverSending(pki::localhost).with("InjectLogLayers", "True"),
         .between = RelayPlan{}});
}

// Returns the sum of the sizes in the layer's lines for an operation.
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

TEST(LogLayers, sendLogsThePlainSizeAboveAndTheRecordSizeBelow) {
    ConnectedPair pair = meetWithLayers();
    ASSERT_TRUE(pair.established());
    const std::size_t before = pair.relay->passedToServer();
    pair.client.log->clear();
    ASSERT_TRUE(pair.client.sendAll("hello"));
    ASSERT_EQ(pair.server.receiveAll(5), "hello");
    const std::size_t record = pair.relay->passedToServer() - before;
    EXPECT_GT(record, 5U);
    const std::wstring socket = pair.client.socketNumber();
    EXPECT_THAT(pair.client.log->linesWith(L" Layer using "),
                ElementsAre(debug(L"Application Layer using socket [" + socket +
                                  L"] to send [5] byte message"),
                            debug(L"Encryption Layer using socket [" + socket + L"] to send [" +
                                  std::to_wstring(record) + L"] byte message")));
}

TEST(LogLayers, receiveLogsTheBufferSizeOfEachLayer) {
    ConnectedPair pair = meetWithLayers();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("hello"));
    pair.server.log->clear();
    ASSERT_EQ(pair.server.receive(1024), "hello");
    const auto lines = pair.server.log->linesWith(L" Layer using ");
    ASSERT_EQ(lines.size(), 2U);
    const std::wstring socket = pair.server.socketNumber();
    EXPECT_EQ(lines[0], debug(L"Application Layer using socket [" + socket +
                              L"] to recv [1024] byte message"));
    const std::wregex below(L"Encryption Layer using socket \\[" + socket +
                            L"\\] to recv \\[(\\d+)\\] byte message");
    std::wsmatch match;
    ASSERT_TRUE(std::regex_match(lines[1].text, match, below));
    EXPECT_GT(std::stoul(match[1].str()), 16384U); // a buffer for the largest record
}

TEST(LogLayers, lowerLayerLogsTheWholeHandshake) {
    ConnectedPair pair = meetWithLayers();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(total(*pair.client.log, L"Encryption Layer", L"send"), pair.relay->passedToServer());
    EXPECT_EQ(total(*pair.server.log, L"Encryption Layer", L"send"), pair.relay->passedToClient());
    EXPECT_THAT(pair.client.log->linesWith(L"Application Layer"), IsEmpty());
}

TEST(LogLayers, completedReceiveLogsTheWireSizeAboveAndNothingBelow) {
    ConnectedPair pair = meetWithLayers();
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    ASSERT_TRUE(pair.client.sendAll("hello"));
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

TEST(LogLayers, thresholdInfoDropsTheLines) {
    ConnectedPair pair = connectPair({.client = Settings::encrypted()
                                                    .with("InjectLogLayers", "True")
                                                    .with("MinimumSeverityToLog", "Info"),
                                      .server = Settings::serverSending(pki::localhost)});
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("hello"));
    EXPECT_THAT(pair.client.log->linesWith(L" Layer "), IsEmpty());
}

TEST(LogLayers, plainStackHasOnlyTheLowerLayer) {
    const Settings plainWithLayers =
        Settings::plain().with("InjectLogLayers", "True").with("MinimumSeverityToLog", "Debug");
    ConnectedPair pair = connectPair({.client = plainWithLayers, .server = Settings::plain()});
    ASSERT_TRUE(pair.established());
    pair.client.log->clear();
    ASSERT_TRUE(pair.client.sendAll("hello"));
    EXPECT_THAT(pair.client.log->lines(),
                ElementsAre(debug(L"Encryption Layer using socket [" + pair.client.socketNumber() +
                                  L"] to send [5] byte message")));
}

} // namespace
} // namespace VexaSsl::test
