// Several threads: one sender beside one receiver on one stack, and many connections at once.
#include "fakes/Sweep.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

#if defined(VEXASSL_UNDER_SANITIZER)
constexpr std::size_t volume = std::size_t{4} << 20;
#else
constexpr std::size_t volume = std::size_t{32} << 20;
#endif
constexpr int connections = 200;

void sendPattern(Peer& peer, std::size_t total) {
    const Pattern pattern;
    for (std::size_t sent = 0; sent < total; sent += 50000) {
        if (!peer.say(pattern.at(sent, std::min<std::size_t>(50000, total - sent)))) {
            return;
        }
    }
}

std::size_t receivePattern(Peer& peer, std::size_t total) {
    const Pattern pattern;
    std::size_t right = 0;
    while (right < total) {
        const auto heard = peer.receive(30000);
        if (!heard || heard->empty() || !pattern.matches(right, *heard)) {
            break;
        }
        right += heard->size();
    }
    return right;
}

TEST(Concurrency, oneSenderAndOneReceiverWorkAtOnceOnEachSide) {
    Meeting meeting =
        meet({.client = Settings::encrypted().with("InjectLogLayers", "True"),
              .server = Settings::serverSending(pki::localhost).with("InjectLogLayers", "True")});
    ASSERT_TRUE(meeting.established());
    std::size_t atServer = 0;
    std::size_t atClient = 0;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { sendPattern(meeting.client, volume); });
    threads.emplace_back([&] { sendPattern(meeting.server, volume); });
    threads.emplace_back([&] { atServer = receivePattern(meeting.server, volume); });
    threads.emplace_back([&] { atClient = receivePattern(meeting.client, volume); });
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(atServer, volume);
    EXPECT_EQ(atClient, volume);
    reportFigure("Threads", "one sender and one receiver on each side of a connection: " +
                                std::to_string((atServer + atClient) >> 20) + " of " +
                                std::to_string(2 * volume >> 20) + " MiB right");
}

TEST(Concurrency, oneSenderWorksBesideASelectingReceiver) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    constexpr std::size_t total = 1 << 20;
    std::jthread sending([&] { sendPattern(meeting.client, total); });
    std::jthread sendingBack([&] { sendPattern(meeting.server, total); });
    std::jthread receivingBack([&] { receivePattern(meeting.client, total); });
    const Pattern pattern;
    std::size_t right = 0;
    while (right < total && meeting.server.readable(patienceSeconds) == 1) {
        const auto heard = meeting.server.receive(1000);
        if (!heard || !pattern.matches(right, *heard)) {
            break;
        }
        right += heard->size();
    }
    sending.join();
    sendingBack.join();
    receivingBack.join();
    EXPECT_EQ(right, total);
}

// The log is the one thing that the stacks share, and its owner synchronises it.
TEST(Concurrency, sixteenThreadsWithAStackEachShareOneLog) {
    constexpr std::size_t threadCount = 16;
    constexpr std::size_t rounds = 10;
    SharedLog log;
    const StackMaker onSharedLog = [&log](ILog&, const IConfig& config) {
        return instantiateSocketStrategy(log, config);
    };
    std::atomic<std::size_t> understood = 0;
    {
        std::vector<std::jthread> threads;
        for (std::size_t number = 0; number < threadCount; ++number) {
            threads.emplace_back([&, number] {
                Meeting meeting =
                    meet({.client = Settings::encrypted().with("InjectLogLayers", "True"),
                          .server = Settings::serverSending(pki::localhost),
                          .clientStack = onSharedLog,
                          .serverStack = onSharedLog});
                const std::string text = "thread " + std::to_string(number);
                bool well = meeting.established();
                for (std::size_t round = 0; well && round < rounds; ++round) {
                    well = meeting.client.say(text) && meeting.server.hear(text.size()) == text &&
                           meeting.server.say(text) && meeting.client.hear(text.size()) == text;
                }
                understood += well ? 1 : 0;
            });
        }
    }
    EXPECT_EQ(understood, threadCount);
    EXPECT_EQ(log.linesWith(L"An encrypted connection has been successfully initialised").size(),
              2 * threadCount);
    EXPECT_EQ(log.linesWith(L"Application Layer using socket [").size() % threadCount, 0U);
    reportFigure("Threads", "16 threads, a stack each with log layers on one synchronised log: " +
                                std::to_string(understood) + " of 16 understood");
}

// Every connection is answered by a thread of its own and says its number both ways.
TEST(Concurrency, manyConnectionsWorkSideBySideAndLeaveNoDescriptorBehind) {
    { // what is made once per process is made before counting
        const Meeting first = meetEncrypted();
        ASSERT_TRUE(first.established());
    }
    const std::size_t before = openDescriptors();
    std::atomic<int> understood = 0;
    {
        std::vector<std::thread> threads;
        for (int number = 0; number < connections; ++number) {
            threads.emplace_back([&understood, number] {
                Meeting meeting = meetEncrypted();
                const std::string text = "connection " + std::to_string(number);
                if (meeting.established() && meeting.client.say(text) &&
                    meeting.server.hear(text.size()) == text && meeting.server.say(text) &&
                    meeting.client.hear(text.size()) == text) {
                    ++understood;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    EXPECT_EQ(understood, connections);
    EXPECT_EQ(openDescriptors(), before);
}

// All connections are open together, so nothing is shared between them by accident.
TEST(Concurrency, manyOpenConnectionsKeepTheirBytesApart) {
    std::vector<Meeting> meetings(connections);
    {
        std::atomic<std::size_t> next = 0;
        std::vector<std::thread> threads;
        for (int worker = 0; worker < 8; ++worker) {
            threads.emplace_back([&] {
                for (std::size_t i = next++; i < meetings.size(); i = next++) {
                    meetings[i] = meetEncrypted();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    for (std::size_t i = 0; i < meetings.size(); ++i) {
        ASSERT_TRUE(meetings[i].established()) << i;
        ASSERT_TRUE(meetings[i].client.say("number " + std::to_string(i)));
    }
    for (std::size_t i = 0; i < meetings.size(); ++i) {
        const std::string text = "number " + std::to_string(i);
        EXPECT_EQ(meetings[i].server.hear(text.size()), text);
    }
}

// Twenty handshakes that fail for the server's certificate.
void expectNothingLeftBy(const std::string& certificate) {
    const auto refuse = [&] {
        const Meeting meeting =
            meet({.client = Settings::encrypted(), .server = Settings::serverSending(certificate)});
        EXPECT_FALSE(meeting.client.established());
    };
    refuse();
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        refuse();
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(Concurrency, failedHandshakesLeaveNoDescriptorBehind) {
    VEXASSL_NEEDS_ABILITY(Ability::judgeServers);
    expectNothingLeftBy(pki::untrusted);
}

TEST(Concurrency, handshakesWithoutACertificateLeaveNoDescriptorBehind) {
    expectNothingLeftBy("nobody has this name");
}

} // namespace
} // namespace VexaSsl::test
