#include "unit/strategies/OtlsStage.h"

namespace VexaSsl::test {

template class SecureStage<OpenSometimesStrategy>;

OtlsTest::OtlsTest() {
    stage.make();
}

OtlsTest::~OtlsTest() = default;

void OtlsTest::connectPlain() {
    stage.resolve("peer");
    stage.strategy->connect(OtlsStage::connection, nullptr, 0);
    stage.forget();
}

void OtlsTest::startEncrypted() {
    connectPlain();
    ASSERT_EQ(stage.strategy->startOtls(), 0);
    stage.forget();
}

bool OtlsTest::startsAsServer() {
    stage.resolve("peer");
    stage.arrive("client hello");
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    return stage.platformCalls("AcceptSecurityContext") == 1;
}

void OtlsTest::acceptOne() {
    stage.lower->onAccept = [](auto...) { return OtlsStage::connection; };
    stage.strategy->accept(OtlsStage::listener, nullptr, nullptr);
}

} // namespace VexaSsl::test
