// The stage of opportunistic TLS: a strategy in the clear over a scripted one, with a handshake
// that will succeed.
#pragma once

#include "fakes/SecureConnection.h"
#include "strategies/SometimesSecureSocketStrategy.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {

class OpenSometimesStrategy : public SometimesSecureSocketStrategy {
public:
    using SometimesSecureSocketStrategy::pendingReceives;
    using SometimesSecureSocketStrategy::record;
    using SometimesSecureSocketStrategy::remoteHostName;
    using SometimesSecureSocketStrategy::socket;
    using SometimesSecureSocketStrategy::SometimesSecureSocketStrategy;
};

using OtlsStage = SecureStage<OpenSometimesStrategy>;
class OtlsTest : public testing::Test {
protected:
    OtlsTest() { stage.make(); }

    // As a client, up to the moment before startOtls.
    void connectPlain() {
        stage.resolve("peer");
        stage.strategy->connect(OtlsStage::connection, nullptr, 0);
        stage.forget();
    }
    void startEncrypted() {
        connectPlain();
        ASSERT_EQ(stage.strategy->startOtls(), 0);
        stage.forget();
    }
    // Whether the handshake to come is the server's, found out by running it.
    bool startsAsServer() {
        stage.resolve("peer");
        stage.arrive("client hello");
        EXPECT_EQ(stage.strategy->startOtls(), 0);
        return stage.platformCalls("AcceptSecurityContext") == 1;
    }
    void acceptOne() {
        stage.lower->onAccept = [](auto...) { return OtlsStage::connection; };
        stage.strategy->accept(OtlsStage::listener, nullptr, nullptr);
    }

    OtlsStage stage;
};

} // namespace VexaSsl::test
