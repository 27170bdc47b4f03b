// Outputs of socket calls that the host may leave out.
#include "contract/sockets/Loopback.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {

using OptionalOutput = ContractTest;

TEST_F(OptionalOutput, calleeDataMayBeNull) {
    const Socket listener = listenOnLoopback();
    const Socket socket = tcpSocket();
    const sockaddr_in address = addressOf(listener);
    EXPECT_EQ(platform::WSAConnect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                                   sizeof(address), nullptr, nullptr, nullptr, nullptr),
              0);
}

TEST_F(OptionalOutput, flagsAreClearedWhenDataWaits) {
    const Pair pair = connectedPair();
    sendText(pair.client, "x");
    char byte = 0;
    ASSERT_EQ(platform::recv(pair.server.get(), &byte, 1, msgPeek), 1);
    Receive receive(1);
    receive.flags = msgPeek;
    ASSERT_EQ(receive.post(pair.server), 0);
    EXPECT_EQ(receive.flags, 0U);
}

} // namespace VexaSsl::test
