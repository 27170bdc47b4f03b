// Opportunistic TLS: stacks that start in clear text.
#include "integration/support/ConnectedPair.h"
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

// A server must resolve a name, too, before it can switch.
void resolve(Peer& peer) {
    addrinfo* found = nullptr;
    EXPECT_EQ(peer.stack->getaddrinfo("localhost", nullptr, nullptr, &found), 0);
    platform::freeaddrinfo(found);
}

int startOtls(Peer& peer) {
    auto* provider = dynamic_cast<IOtlsProvider*>(peer.stack.get());
    return provider == nullptr ? -99 : provider->startOtls();
}

ConnectedPair meetOpportunistic() {
    return connectPair(
        {.client = opportunistic(),
         .server = opportunistic().with("ServerCertificateToSendName", pki::localhost),
         .accepting = Accepting::blocking,
         .between = RelayPlan{}});
}

TEST(OpportunisticStack, clearTextIsFollowedByEncryption) {
    ConnectedPair pair = meetOpportunistic();
    ASSERT_TRUE(pair.established());
    ASSERT_TRUE(pair.client.sendAll("STARTTLS"));
    ASSERT_EQ(pair.server.receiveAll(8), "STARTTLS");
    EXPECT_EQ(pair.relay->captured(), "STARTTLS");
    resolve(pair.server);
    int served = SOCKET_ERROR;
    std::jthread serving([&] { served = startOtls(pair.server); });
    EXPECT_EQ(startOtls(pair.client), 0);
    serving.join();
    EXPECT_EQ(served, 0);
    ASSERT_TRUE(pair.client.sendAll("a secret"));
    EXPECT_EQ(pair.server.receiveAll(8), "a secret");
    ASSERT_TRUE(pair.server.sendAll("another"));
    EXPECT_EQ(pair.client.receiveAll(7), "another");
    EXPECT_EQ(pair.relay->captured().find("a secret"), std::string::npos);
    EXPECT_EQ(startOtls(pair.client), 0);
}

TEST(OpportunisticStack, serverWithoutANameCannotSwitch) {
    ConnectedPair pair = meetOpportunistic();
    ASSERT_TRUE(pair.established());
    EXPECT_EQ(startOtls(pair.server), SOCKET_ERROR);
    EXPECT_EQ(pair.server.log->count(Severity::Error,
                                     L"No remote hostname has been supplied. Server "
                                     L"authentication will be impossible. Aborting connection "
                                     L"attempt"),
              1U);
    ASSERT_TRUE(pair.server.sendAll("still clear"));
    EXPECT_EQ(pair.client.receiveAll(11), "still clear");
}

TEST(OpportunisticStack, logLayerHidesTheSwitch) {
    SharedLog log;
    const auto stack =
        instantiateSocketStrategy(log, *opportunistic().with("InjectLogLayers", "True").load(log));
    EXPECT_EQ(dynamic_cast<IOtlsProvider*>(stack.get()), nullptr);
}

TEST(OpportunisticStack, builtInConnectionNameIsRefused) {
    SharedLog log;
    const auto config = opportunistic().named(L"odbcthinclient").load(log);
    EXPECT_THROW(instantiateSocketStrategy(log, *config), std::out_of_range);
    EXPECT_EQ(log.count(Severity::Error,
                        L"Internal connection name [odbcthinclient] does not support OTLS"),
              1U);
}

} // namespace
} // namespace VexaSsl::test
