// Many threads that use the library and end: none may leak memory or handles. The library is not
// notified when a thread ends.
#include "integration/support/ConnectedPair.h"
#include "module/Memory.h"

#include "VexaSsl/VexaSsl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

// Less than the smallest allocation for each thread.
constexpr std::size_t maxBytesPerThread = 8;
// The system itself may open and close a few handles.
constexpr std::size_t maxHandles = 4;
constexpr int warmUpThreads = VEXASSL_THREADS / 20;
// One of so many threads uses a connection that outlives the thread.
constexpr int threadsPerConnection = 10;

class Drop : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

// Text conversions, an exception of the library that the host catches, and the thread's error code.
void visit() {
    Drop log;
    const auto config = constructDefaultSslConfiguration(log, convertNarrowToWide("visitor"));
    config->setValue(L"UseEncryption", L"perhaps");
    try {
        instantiateSocketStrategy(log, *config);
        ADD_FAILURE() << "the bad value was accepted";
    } catch (const std::out_of_range&) {
        platform::WSASetLastError(1);
    }
}

void exchange(ConnectedPair& pair) {
    EXPECT_TRUE(pair.client.sendAll("from a thread of its own"));
    EXPECT_EQ(pair.server.receiveAll(24), "from a thread of its own");
}

void connect() {
    ConnectedPair own = connectEncrypted();
    EXPECT_TRUE(own.established());
    exchange(own);
}

bool makesConnection(int thread) {
    constexpr int connections = VEXASSL_CONNECTIONS;
    return connections != 0 && thread % (VEXASSL_THREADS / std::max(connections, 1)) == 0;
}

void makeThreads(ConnectedPair& pair, int count) {
    for (int i = 1; i <= count; ++i) {
        std::thread([&, i] {
            visit();
            if (i % threadsPerConnection == 0) {
                exchange(pair);
            }
            if (makesConnection(i)) {
                connect();
            }
        }).join();
    }
}

TEST(Threads, endedThreadsLeakNothing) {
    ConnectedPair pair = connectEncrypted();
    ASSERT_TRUE(pair.established());
    pair.client.log->setMinimumSeverity(Severity::Warning);
    pair.server.log->setMinimumSeverity(Severity::Warning);
    connect();
    makeThreads(pair, warmUpThreads);
    const std::size_t memoryBefore = memoryInUse();
    const std::size_t handlesBefore = nextHandle();
    makeThreads(pair, VEXASSL_THREADS);
    const std::size_t memoryAfter = memoryInUse();
    const std::size_t handlesAfter = nextHandle();
    std::cout << VEXASSL_THREADS << " threads: memory " << memoryBefore / 1024 << " KiB before, "
              << memoryAfter / 1024 << " KiB after; next handle " << handlesBefore << " before, "
              << handlesAfter << " after\n";
    ASSERT_GT(memoryBefore, 0U);
    EXPECT_LE(memoryAfter, memoryBefore + maxBytesPerThread * VEXASSL_THREADS);
    EXPECT_LE(handlesAfter, handlesBefore + maxHandles);
}

} // namespace
} // namespace VexaSsl::test
