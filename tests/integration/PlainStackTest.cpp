// Unencrypted stacks.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

TEST(PlainStack, bytesAreUnchanged) {
    ConnectedPair pair = connectPair(
        {.client = Settings::plain(), .server = Settings::plain(), .between = RelayPlan{}});
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("in the clear"));
    EXPECT_EQ(pair.server.receiveAll(12), "in the clear");
    EXPECT_EQ(pair.relay->captured(), "in the clear");
}

TEST(PlainStack, blockingAcceptWorks) {
    ConnectedPair pair = connectPair({.client = Settings::plain(),
                                      .server = Settings::plain(),
                                      .accepting = Accepting::blocking});
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.server.sendAll("welcome"));
    EXPECT_EQ(pair.client.receiveAll(7), "welcome");
}

TEST(PlainStack, completedReceiveKeepsItsCount) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, *Settings::plain().load(log));
    DWORD count = 7;
    EXPECT_EQ(stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(stack->completeAcceptEx(), 0);
}

TEST(PlainStack, overlappedReceiveFillsTheHostsBuffer) {
    ConnectedPair pair = connectPair({.client = Settings::plain(), .server = Settings::plain()});
    ASSERT_TRUE(pair.established());
    Peer& server = pair.server;
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    ASSERT_TRUE(pair.client.sendAll("plain"));
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_EQ(bytes.substr(0, count), "plain");
}

TEST(PlainStack, missingIniFileMeansNoEncryptionAndIsLogged) {
    SharedLog log;
    const auto config =
        constructSslConfigurationFromIniFile(log, temporaryFolder() / "none.ini", L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
    EXPECT_EQ(config->getValue(L"ConnectionName"), L"Foo");
    EXPECT_THAT(log.lines(), ::testing::ElementsAre(warning(L"Can't open config file"),
                                                    warning(L"Reverting to NO ENCRYPTION")));
}

TEST(PlainStack, badOptionValueIsRefusedAtInstantiation) {
    SharedLog log;
    const auto config = Settings::plain().with("UseEncryption", "Yes").load(log);
    EXPECT_THROW(
        {
            try {
                instantiateSocketStrategy(log, *config);
            } catch (const std::out_of_range& refusal) {
                EXPECT_STREQ(refusal.what(), "invalid configuration");
                throw;
            }
        },
        std::out_of_range);
    EXPECT_EQ(log.count(Severity::Error, L"Supplied value [Yes] of UseEncryption is invalid"), 1U);
}

} // namespace
} // namespace VexaSsl::test
