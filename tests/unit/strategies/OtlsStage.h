// Fixture for opportunistic TLS: a strategy in the clear over a scripted one, and a handshake that
// succeeds.
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

extern template class SecureStage<OpenSometimesStrategy>;
using OtlsStage = SecureStage<OpenSometimesStrategy>;

class OtlsTest : public testing::Test {
protected:
    OtlsTest();
    ~OtlsTest() override;

    // Connects as a client, without startOtls.
    void connectPlain();
    void startEncrypted();
    // Calls startOtls and returns whether the handshake was that of a server.
    bool startsAsServer();
    void acceptOne();

    OtlsStage stage;
};

} // namespace VexaSsl::test
