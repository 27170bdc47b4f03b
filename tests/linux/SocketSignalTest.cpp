// Signals that arrive during a call neither end nor extend it.
#include "contract/sockets/Loopback.h"
#include "linux/SignalStorm.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace VexaSsl::test {

TEST(Transfers, signalsDoNotEndReceive) {
    const Pair pair = connectedPair();
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendByteByByte(pair.client, "calm");
    });
    const SignalStorm storm;
    char bytes[4] = {};
    EXPECT_EQ(platform::recv(pair.server.get(), bytes, 4, msgWaitAll), 4);
    EXPECT_EQ(std::string(bytes, 4), "calm");
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(Transfers, signalsNeitherEndNorExtendTheTimeout) {
    const Pair pair = connectedPair();
    setReceiveTimeout(pair.server, std::chrono::milliseconds(60));
    const SignalStorm storm;
    const auto start = std::chrono::steady_clock::now();
    char byte = 0;
    EXPECT_EQ(platform::recv(pair.server.get(), &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(lastError(), WSAETIMEDOUT);
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(Transfers, signalsDoNotEndSend) {
    const Pair pair = connectedPair();
    const std::string much(8 << 20, 'm');
    const std::jthread peer([&] {
        yieldToOtherThreads();
        EXPECT_EQ(receiveText(pair.server, much.size()), much);
    });
    const SignalStorm storm;
    EXPECT_EQ(platform::send(pair.client.get(), much.data(), static_cast<int>(much.size()), 0),
              static_cast<int>(much.size()));
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(CompletionPort, signalsNeitherEndNorExtendDequeuing) {
    const ScopedPort port;
    const SignalStorm storm;
    EXPECT_EQ(dequeue(port.get(), 50).error, static_cast<int>(WSA_WAIT_TIMEOUT));
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(SleepEx, signalsDoNotEndSleep) {
    const SignalStorm storm;
    EXPECT_EQ(host::SleepEx(30, FALSE), 0U);
    EXPECT_EQ(host::SleepEx(30, TRUE), 0U);
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(Connections, signalsDoNotEndAccept) {
    const Socket listener = listenOnLoopback();
    Socket client;
    const std::jthread peer([&] {
        yieldToOtherThreads();
        client = connectedTo(listener);
    });
    const SignalStorm storm;
    EXPECT_TRUE(Socket(platform::accept(listener.get(), nullptr, nullptr)).isValid());
    EXPECT_GT(SignalStorm::delivered(), 0);
}

// The listener's queue is full, so that the connect blocks and can be interrupted.
TEST(Connections, signalsDoNotEndConnect) {
    const Socket listener = listenOnLoopback();
    host::listen(listener.get(), 0);
    const Socket queued = connectedTo(listener);
    const SOCKET listening = listener.get();
    std::jthread server([listening] {
        for (int i = 0; i < 3; ++i) {
            yieldToOtherThreads();
        }
        while (Socket(platform::accept(listening, nullptr, nullptr)).isValid()) {
        }
    });
    {
        const SignalStorm storm;
        const Socket late = tcpSocket();
        EXPECT_EQ(connectTo(late, addressOf(listener)), 0);
        const Socket later = tcpSocket();
        EXPECT_EQ(connectTo(later, addressOf(listener)), 0);
        EXPECT_GT(SignalStorm::delivered(), 0);
    }
    platform::shutdown(listening, SD_BOTH); // ends the accept
}

TEST(EventReceive, signalsDoNotEndTheWaitForTheResult) {
    const Pair pair = connectedPair();
    Receive receive(8);
    ASSERT_EQ(receive.post(pair.server), WSA_IO_PENDING);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    const SignalStorm storm;
    EXPECT_EQ(receive.finish(pair.server, true), 0);
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(Events, signalsNeitherEndNorExtendTheWaitForEvents) {
    const ScopedEvent event;
    const SignalStorm storm;
    EXPECT_EQ(event.wait(50), WSA_WAIT_TIMEOUT);
    EXPECT_GT(SignalStorm::delivered(), 0);
}

TEST(Select, signalsNeitherEndNorExtendSelect) {
    const Pair pair = connectedPair();
    const SignalStorm storm;
    fd_set readable = fdSetOf({&pair.server});
    const timeval brief{0, 60000};
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &brief), 0);
    EXPECT_GT(SignalStorm::delivered(), 0);
    const std::jthread peer([&] {
        yieldToOtherThreads();
        sendText(pair.client, "x");
    });
    readable = fdSetOf({&pair.server});
    EXPECT_EQ(platform::select(0, &readable, nullptr, nullptr, &tenSeconds), 1);
}

} // namespace VexaSsl::test
