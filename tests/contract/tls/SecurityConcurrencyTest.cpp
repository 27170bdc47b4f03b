// A sending and a receiving thread on the same context, and concurrent connections.
#include "contract/support/ContractTest.h"
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace VexaSsl::test {
namespace {

class SecurityConcurrency : public ContractTest {
protected:
    const ScopedCertificates certificates;
};

TEST_F(SecurityConcurrency, senderAndReceiverShareOneContext) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    constexpr int records = 2000;
    std::vector<Bytes> toServer;
    for (int i = 0; i < records; ++i) {
        toServer.push_back(client.protect("to " + std::to_string(i)));
    }
    std::vector<Bytes> toClient(records);
    std::thread protector([&] {
        for (int i = 0; i < records; ++i) {
            toClient[static_cast<std::size_t>(i)] = server.protect("from " + std::to_string(i));
        }
    });
    int opened = 0;
    for (int i = 0; i < records; ++i) {
        opened +=
            server.openAll(toServer[static_cast<std::size_t>(i)]) == "to " + std::to_string(i);
    }
    protector.join();
    EXPECT_EQ(opened, records);
    for (int i = 0; i < records; ++i) {
        ASSERT_EQ(client.openAll(toClient[static_cast<std::size_t>(i)]),
                  "from " + std::to_string(i));
    }
}

TEST_F(SecurityConcurrency, manyThreadsNegotiateAtOnce) {
    std::atomic<int> established = 0;
    std::vector<std::thread> threads;
    constexpr int threadCount = 4;
    constexpr int connections = 10;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&established] {
            for (int j = 0; j < connections; ++j) {
                Side client = Side::client(L"localhost", j % 2 ? "client" : "");
                Side server =
                    Side::server("server-ecdsa", serverRequirements | ASC_REQ_MUTUAL_AUTH);
                runHandshake(client, server, 100);
                established += client.established() && server.established() &&
                               server.openAll(client.protect("hello")) == "hello";
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(established, threadCount * connections);
}

TEST_F(SecurityConcurrency, oneCredentialServesManyThreads) {
    Credential shared = Credential::inbound();
    std::atomic<int> established = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            Side client = Side::client();
            Side server = Side::server();
            const CredHandle own = *server.credential.get();
            *server.credential.get() = *shared.get();
            runHandshake(client, server);
            established += server.established();
            *server.credential.get() = own;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(established, 4);
}

} // namespace
} // namespace VexaSsl::test
