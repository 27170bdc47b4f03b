// takePendingReceive: what it returns for a number of transferred bytes.
#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <vector>

namespace VexaSsl {
namespace {

class TakingStrategy : public test::OpenSecureSocketStrategy {
public:
    using OpenSecureSocketStrategy::OpenSecureSocketStrategy;
    using SecureSocketStrategy::takePendingReceive;
};

class PendingReceiveTaken : public testing::Test {
protected:
    PendingReceiveTaken() {
        stage.makeConnected();
        stage.lower->onWSARecv = [](auto...) { return 0; };
        post();
    }

    // Two buffers of the host, each with a shadow buffer of 1024 bytes.
    void post() {
        WSABUF buffers[2] = {{100, first}, {200, second}};
        DWORD received = 0;
        DWORD flags = 0;
        WSAOVERLAPPED state{};
        stage.strategy->WSARecv(7, buffers, 2, &received, &flags, &state, nullptr);
    }

    // The number of shadow buffers that a transfer of so many bytes reaches.
    std::size_t take(DWORD transferred) {
        callerBuffers.clear();
        shadowBuffers.clear();
        stage.strategy->takePendingReceive(transferred, callerBuffers, shadowBuffers);
        return shadowBuffers.size();
    }

    test::SecureStage<TakingStrategy> stage;
    char first[100] = {};
    char second[200] = {};
    std::vector<WSABUF> callerBuffers;
    std::vector<ShadowBuffer> shadowBuffers;
};

TEST_F(PendingReceiveTaken, transferThatFitsTheFirstShadowBufferMovesOnlyTheFirst) {
    const char* const bytes = stage.strategy->pendingReceives.front().shadowBuffers[0].bytes.data();
    ASSERT_EQ(take(1), 1U);
    EXPECT_EQ(shadowBuffers[0].bytes.data(), bytes);
    EXPECT_EQ(shadowBuffers[0].view.buf, bytes);
}

TEST_F(PendingReceiveTaken, transferOfExactlyItsSizeMovesOnlyTheFirst) {
    EXPECT_EQ(take(1024), 1U);
}

TEST_F(PendingReceiveTaken, oneByteMoreMovesBoth) {
    EXPECT_EQ(take(1025), 2U);
}

TEST_F(PendingReceiveTaken, transferOfNothingMovesNone) {
    EXPECT_EQ(take(0), 0U);
}

TEST_F(PendingReceiveTaken, transferBeyondTheBuffersMovesAllOfThem) {
    EXPECT_EQ(take(5000), 2U);
}

TEST_F(PendingReceiveTaken, allOfTheHostsBuffersAreReturnedInOrder) {
    take(0);
    ASSERT_EQ(callerBuffers.size(), 2U);
    EXPECT_EQ(callerBuffers[0].buf, first);
    EXPECT_EQ(callerBuffers[0].len, 100U);
    EXPECT_EQ(callerBuffers[1].buf, second);
    EXPECT_EQ(callerBuffers[1].len, 200U);
}

TEST_F(PendingReceiveTaken, onlyTheOldestEntryLeavesTheQueue) {
    post();
    const char* const oldest =
        stage.strategy->pendingReceives.front().shadowBuffers[0].bytes.data();
    take(1);
    EXPECT_EQ(stage.strategy->pendingReceives.size(), 1U);
    EXPECT_EQ(shadowBuffers[0].bytes.data(), oldest);
}

} // namespace
} // namespace VexaSsl
