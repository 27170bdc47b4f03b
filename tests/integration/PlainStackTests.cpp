// Stacks that don't encrypt, or not yet.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace VexaSsl::test {
namespace {

TEST(PlainStack, bytesPassUnchanged) {
    Meeting meeting =
        meet({.client = Settings::plain(), .server = Settings::plain(), .between = RelayPlan{}});
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("in the clear"));
    EXPECT_EQ(meeting.server.hear(12), "in the clear");
    EXPECT_EQ(meeting.relay->captured(), "in the clear");
}

TEST(PlainStack, acceptingBlockingWorksToo) {
    Meeting meeting = meet({.client = Settings::plain(),
                            .server = Settings::plain(),
                            .accepting = Accepting::blocking});
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.server.say("welcome"));
    EXPECT_EQ(meeting.client.hear(7), "welcome");
}

TEST(PlainStack, completingAReceiveChangesNothing) {
    SharedLog log;
    const auto stack = instantiateSocketStrategy(log, *Settings::plain().load(log));
    DWORD count = 7;
    EXPECT_EQ(stack->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(stack->completeAcceptEx(), 0);
}

TEST(PlainStack, anOverlappedReceiveFillsTheHostsOwnBuffer) {
    Meeting meeting = meet({.client = Settings::plain(), .server = Settings::plain()});
    ASSERT_TRUE(meeting.established());
    Peer& server = meeting.server;
    std::string bytes(100, '\0');
    WSABUF buffer{100, bytes.data()};
    Overlapped overlapped;
    DWORD count = 0;
    DWORD flags = 0;
    server.stack->WSARecv(server.socket.handle(), &buffer, 1, &count, &flags, overlapped.get(),
                          nullptr);
    ASSERT_TRUE(meeting.client.say("plain"));
    ASSERT_TRUE(overlapped.wait(server.socket.handle(), count));
    EXPECT_EQ(bytes.substr(0, count), "plain");
}

TEST(PlainStack, aMissingIniFileMeansNoEncryptionAndSaysSo) {
    SharedLog log;
    const auto config =
        constructSslConfigurationFromIniFile(log, temporaryFolder() / "none.ini", L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
    EXPECT_EQ(config->getValue(L"ConnectionName"), L"Foo");
    EXPECT_THAT(log.lines(), ::testing::ElementsAre(warning(L"Can't open config file"),
                                                    warning(L"Reverting to NO ENCRYPTION")));
}

TEST(PlainStack, aBadWordIsRefusedWhenTheStackIsBuilt) {
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

// --- TLS that the host switches on later.

Settings opportunistic() {
    return Settings::plain()
        .with("UseEncryption", "Opportunistically")
        .with("MinimumSeverityToLog", "Debug")
        .named(L"Upgradable");
}

// A server too needs a name before it can start.
void resolve(Peer& peer) {
    addrinfo* found = nullptr;
    EXPECT_EQ(peer.stack->getaddrinfo("localhost", nullptr, nullptr, &found), 0);
    platform::freeaddrinfo(found);
}

int startOtls(Peer& peer) {
    auto* provider = dynamic_cast<IOtlsProvider*>(peer.stack.get());
    return provider == nullptr ? -99 : provider->startOtls();
}

Meeting meetOpportunistic() {
    return meet({.client = opportunistic(),
                 .server = opportunistic().with("ServerCertificateToSendName", pki::localhost),
                 .accepting = Accepting::blocking,
                 .between = RelayPlan{}});
}

TEST(OpportunisticStack, startsInTheClearAndGoesOnEncrypted) {
    Meeting meeting = meetOpportunistic();
    ASSERT_TRUE(meeting.established());
    ASSERT_TRUE(meeting.client.say("STARTTLS"));
    ASSERT_EQ(meeting.server.hear(8), "STARTTLS");
    EXPECT_EQ(meeting.relay->captured(), "STARTTLS");
    resolve(meeting.server);
    int served = SOCKET_ERROR;
    std::jthread serving([&] { served = startOtls(meeting.server); });
    EXPECT_EQ(startOtls(meeting.client), 0);
    serving.join();
    EXPECT_EQ(served, 0);
    ASSERT_TRUE(meeting.client.say("a secret"));
    EXPECT_EQ(meeting.server.hear(8), "a secret");
    ASSERT_TRUE(meeting.server.say("another"));
    EXPECT_EQ(meeting.client.hear(7), "another");
    EXPECT_EQ(meeting.relay->captured().find("a secret"), std::string::npos);
    EXPECT_EQ(startOtls(meeting.client), 0);
}

TEST(OpportunisticStack, aServerWithoutANameCannotStart) {
    Meeting meeting = meetOpportunistic();
    ASSERT_TRUE(meeting.established());
    EXPECT_EQ(startOtls(meeting.server), SOCKET_ERROR);
    EXPECT_EQ(meeting.server.log->count(Severity::Error,
                                        L"No remote hostname has been supplied. Server "
                                        L"authentication will be impossible. Aborting connection "
                                        L"attempt"),
              1U);
    ASSERT_TRUE(meeting.server.say("still clear"));
    EXPECT_EQ(meeting.client.hear(11), "still clear");
}

TEST(OpportunisticStack, aLogLayerOnTopHidesTheSwitch) {
    SharedLog log;
    const auto stack =
        instantiateSocketStrategy(log, *opportunistic().with("InjectLogLayers", "True").load(log));
    EXPECT_EQ(dynamic_cast<IOtlsProvider*>(stack.get()), nullptr);
}

TEST(OpportunisticStack, aBuiltInConnectionNameIsRefused) {
    SharedLog log;
    const auto config = opportunistic().named(L"odbcthinclient").load(log);
    EXPECT_THROW(instantiateSocketStrategy(log, *config), std::out_of_range);
    EXPECT_EQ(log.count(Severity::Error,
                        L"Internal connection name [odbcthinclient] does not support OTLS"),
              1U);
}

} // namespace
} // namespace VexaSsl::test
