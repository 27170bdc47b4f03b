// Stacks that start in the clear and go on encrypted when the host says so.
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace VexaSsl::test {
namespace {

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
