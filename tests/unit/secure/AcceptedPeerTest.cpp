// The peer whose name is resolved after accept.
#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

class AcceptedPeer : public testing::Test {
protected:
    AcceptedPeer() {
        stage.make();
        stage.arrive("client hello");
    }

    test::SecureStage<> stage;
    sockaddr address{};
    int length = 128;
};

TEST_F(AcceptedPeer, peerIsResolvedFromTheAddressAndLengthOfTheLowerAccept) {
    stage.lower->onAccept = [](SOCKET, sockaddr*, int* addrlen) {
        *addrlen = 16;
        return SOCKET{7};
    };
    stage.platform.GetNameInfoW = [this](const sockaddr* asked, int askedLength, wchar_t*, DWORD,
                                         wchar_t*, DWORD, int) {
        EXPECT_EQ(asked, &address);
        EXPECT_EQ(askedLength, 16);
        EXPECT_EQ(stage.platformCalls("AcceptSecurityContext"), 0) << "before the handshake";
        return 0;
    };
    EXPECT_EQ(stage.strategy->accept(3, &address, &length), SOCKET{7});
    EXPECT_EQ(stage.platformCalls("GetNameInfoW"), 1);
    EXPECT_EQ(stage.platformCalls("AcceptSecurityContext"), 1);
}

TEST_F(AcceptedPeer, unknownPeerIsAnErrorLineOnASecureConnection) {
    stage.lower->onAccept = [](auto...) { return SOCKET{7}; };
    stage.platform.GetNameInfoW = [this](auto...) {
        stage.platform.lastError = WSAHOST_NOT_FOUND;
        return -1;
    };
    EXPECT_EQ(stage.strategy->accept(3, &address, &length), SOCKET{7});
    EXPECT_EQ(stage.log.lines.front(),
              (test::LogLine{Severity::Error, L"GetNameInfoW failed with: 11001 (text of 11001)"}));
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
}

TEST_F(AcceptedPeer, nothingIsResolvedWhenNothingWasAccepted) {
    stage.lower->onAccept = [](auto...) { return INVALID_SOCKET; };
    EXPECT_EQ(stage.strategy->accept(3, &address, &length), INVALID_SOCKET);
    EXPECT_EQ(stage.platform.calls, (std::vector<std::string>{"WSAGetLastError"}));
}

TEST_F(AcceptedPeer, peerWithoutAnAddressHasNoNameEvenAfterALookup) {
    stage.lower->onAccept = [](auto...) { return SOCKET{7}; };
    stage.resolve("resolved");
    stage.strategy->accept(3, nullptr, nullptr);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
}

TEST_F(AcceptedPeer, peerOfACompletedAcceptExHasNoNameEvenAfterALookup) {
    stage.lower->onAcceptEx = [](auto...) { return TRUE; };
    stage.resolve("resolved");
    stage.strategy->AcceptEx(3, 7, nullptr, 0, 32, 32, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->completeAcceptEx(), 0);
    EXPECT_EQ(stage.platformCalls("GetNameInfoW"), 0);
    ASSERT_NE(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.strategy->record->targetName, L"");
}

} // namespace
} // namespace VexaSsl
