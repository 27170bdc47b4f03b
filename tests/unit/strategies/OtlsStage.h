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

extern template class SecureStage<OpenSometimesStrategy>;
using OtlsStage = SecureStage<OpenSometimesStrategy>;

class OtlsTest : public testing::Test {
protected:
    OtlsTest();
    ~OtlsTest() override;

    // As a client, up to the moment before startOtls.
    void connectPlain();
    void startEncrypted();
    // Whether the handshake to come is the server's, found out by running it.
    bool startsAsServer();
    void acceptOne();

    OtlsStage stage;
};

} // namespace VexaSsl::test
