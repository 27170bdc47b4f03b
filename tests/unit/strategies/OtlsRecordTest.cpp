// The record that startOtls makes.
#include "fakes/SecureConnection.h"
#include "strategies/SometimesSecureSocketStrategy.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

class OpenStrategy : public SometimesSecureSocketStrategy {
public:
    using SometimesSecureSocketStrategy::record;
    using SometimesSecureSocketStrategy::SometimesSecureSocketStrategy;
};

class OtlsRecord : public testing::Test {
protected:
    OtlsRecord() {
        stage.make();
        stage.resolve("resolved");
    }

    test::SecureStage<OpenStrategy> stage;
};

TEST_F(OtlsRecord, clientsRecordHasTheConnectedSocketAndTheResolvedName) {
    stage.strategy->connect(7, nullptr, 0);
    ASSERT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.strategy->record->socket, SOCKET{7});
    EXPECT_EQ(stage.strategy->record->targetName, L"resolved");
    EXPECT_FALSE(stage.strategy->record->isServer);
}

TEST_F(OtlsRecord, serversRecordHasTheAcceptedSocketAndTheResolvedName) {
    stage.lower->onAccept = [](auto...) { return SOCKET{8}; };
    stage.strategy->accept(3, nullptr, nullptr);
    stage.arrive("client hello");
    ASSERT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.strategy->record->socket, SOCKET{8});
    EXPECT_EQ(stage.strategy->record->targetName, L"resolved");
    EXPECT_TRUE(stage.strategy->record->isServer);
    EXPECT_EQ(stage.platformCalls("GetNameInfoW"), 0);
}

TEST_F(OtlsRecord, startAfterAStopMakesANewRecord) {
    stage.strategy->connect(7, nullptr, 0);
    stage.strategy->startOtls();
    stage.strategy->stopOtls();
    EXPECT_EQ(stage.deleted, (std::vector<ULONG_PTR>{1}));
    ASSERT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.strategy->record->securityContext.address()->dwLower, 2U);
}

} // namespace
} // namespace VexaSsl
