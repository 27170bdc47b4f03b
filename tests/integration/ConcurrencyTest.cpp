// Several threads: a sender and a receiver on one stack, and many simultaneous connections.
#include "fakes/Sweep.h"
#include "integration/support/ConnectedPair.h"
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
        if (!peer.sendAll(pattern.at(sent, std::min<std::size_t>(50000, total - sent)))) {
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

TEST(Concurrency, senderAndReceiverMayRunAtTheSameTime) {
    ConnectedPair pair = connectPair(
        {.client = Settings::encrypted().with("InjectLogLayers", "True"),
         .server = Settings::serverSending(pki::localhost).with("InjectLogLayers", "True")});
    ASSERT_TRUE(pair.established());
    std::size_t atServer = 0;
    std::size_t atClient = 0;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { sendPattern(pair.client, volume); });
    threads.emplace_back([&] { sendPattern(pair.server, volume); });
    threads.emplace_back([&] { atServer = receivePattern(pair.server, volume); });
    threads.emplace_back([&] { atClient = receivePattern(pair.client, volume); });
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(atServer, volume);
    EXPECT_EQ(atClient, volume);
    reportFigure("Threads", "one sender and one receiver on each side of a connection: " +
                                std::to_string((atServer + atClient) >> 20) + " of " +
                                std::to_string(2 * volume >> 20) + " MiB right");
}

TEST(Concurrency, senderMayRunDuringASelect) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    constexpr std::size_t total = 1 << 20;
    std::jthread sending([&] { sendPattern(pair.client, total); });
    std::jthread sendingBack([&] { sendPattern(pair.server, total); });
    std::jthread receivingBack([&] { receivePattern(pair.client, total); });
    const Pattern pattern;
    std::size_t right = 0;
    while (right < total && pair.server.readable(timeoutSeconds) == 1) {
        const auto heard = pair.server.receive(1000);
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

// The stacks share only the log, which has its own lock.
TEST(Concurrency, sixteenStacksShareOneLog) {
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
                ConnectedPair pair =
                    connectPair({.client = Settings::encrypted().with("InjectLogLayers", "True"),
                                 .server = Settings::serverSending(pki::localhost),
                                 .clientStack = onSharedLog,
                                 .serverStack = onSharedLog});
                const std::string text = "thread " + std::to_string(number);
                bool well = pair.established();
                for (std::size_t round = 0; well && round < rounds; ++round) {
                    well = pair.client.sendAll(text) &&
                           pair.server.receiveAll(text.size()) == text &&
                           pair.server.sendAll(text) && pair.client.receiveAll(text.size()) == text;
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

// Each connection has its own server thread and sends its number in both directions.
TEST(Concurrency, simultaneousConnectionsLeakNoDescriptor) {
    { // creates what exists once in a process
        const ConnectedPair first = connectEncrypted();
        ASSERT_TRUE(first.established());
    }
    const std::size_t before = openDescriptors();
    std::atomic<int> understood = 0;
    {
        std::vector<std::thread> threads;
        for (int number = 0; number < connections; ++number) {
            threads.emplace_back([&understood, number] {
                ConnectedPair pair = connectEncrypted();
                const std::string text = "connection " + std::to_string(number);
                if (pair.established() && pair.client.sendAll(text) &&
                    pair.server.receiveAll(text.size()) == text && pair.server.sendAll(text) &&
                    pair.client.receiveAll(text.size()) == text) {
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

// All connections are open at the same time.
TEST(Concurrency, openConnectionsDoNotMixTheirBytes) {
    std::vector<ConnectedPair> pairs(connections);
    {
        std::atomic<std::size_t> next = 0;
        std::vector<std::thread> threads;
        for (int worker = 0; worker < 8; ++worker) {
            threads.emplace_back([&] {
                for (std::size_t i = next++; i < pairs.size(); i = next++) {
                    pairs[i] = connectEncrypted();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        ASSERT_TRUE(pairs[i].established()) << i;
        ASSERT_TRUE(pairs[i].client.sendAll("number " + std::to_string(i)));
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const std::string text = "number " + std::to_string(i);
        EXPECT_EQ(pairs[i].server.receiveAll(text.size()), text);
    }
}

// Twenty handshakes that fail because of the server's certificate.
void expectNothingLeftBy(const std::string& certificate) {
    const auto refuse = [&] {
        const ConnectedPair pair = connectPair(
            {.client = Settings::encrypted(), .server = Settings::serverSending(certificate)});
        EXPECT_FALSE(pair.client.established());
    };
    refuse();
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        refuse();
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(Concurrency, failedHandshakesLeakNoDescriptor) {
    VEXASSL_NEEDS_ABILITY(Ability::verifyServers);
    expectNothingLeftBy(pki::untrusted);
}

TEST(Concurrency, handshakesWithoutACertificateLeakNoDescriptor) {
    expectNothingLeftBy("nobody has this name");
}

} // namespace
} // namespace VexaSsl::test
