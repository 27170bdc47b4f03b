// A host whose threads come and go: what each of them leaves behind in the library and beneath it.
// The library gets no notice of a thread's end, so nothing may depend on one.
#include "integration/support/Meeting.h"
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

// One that leaves even the smallest allocation behind in each thread makes this much of them.
constexpr std::size_t mostBytesAThread = 8;
// Handles that the system keeps for later may come and go.
constexpr std::size_t mostHandles = 4;
constexpr int warmUpThreads = VEXASSL_THREADS / 20;
// Of so many threads one works on a connection that outlives it.
constexpr int sharingOne = 10;

class Drop : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

// Texts, an exception thrown inside the library and caught outside, and the thread's last error.
void visit() {
    Drop log;
    const auto config = constructDefaultSslConfiguration(log, convertNarrowToWide("visitor"));
    config->setValue(L"UseEncryption", L"perhaps");
    try {
        instantiateSocketStrategy(log, *config);
        ADD_FAILURE() << "the bad value was taken";
    } catch (const std::out_of_range&) {
        platform::WSASetLastError(1);
    }
}

void exchange(Meeting& meeting) {
    EXPECT_TRUE(meeting.client.say("from a thread of its own"));
    EXPECT_EQ(meeting.server.hear(24), "from a thread of its own");
}

void connect() {
    Meeting own = meetEncrypted();
    EXPECT_TRUE(own.established());
    exchange(own);
}

bool makesConnection(int thread) {
    constexpr int connections = VEXASSL_CONNECTIONS;
    return connections != 0 && thread % (VEXASSL_THREADS / std::max(connections, 1)) == 0;
}

void makeThreads(Meeting& meeting, int count) {
    for (int i = 1; i <= count; ++i) {
        std::thread([&, i] {
            visit();
            if (i % sharingOne == 0) {
                exchange(meeting);
            }
            if (makesConnection(i)) {
                connect();
            }
        }).join();
    }
}

TEST(Threads, manyThatEndLeaveNothingBehind) {
    Meeting meeting = meetEncrypted();
    ASSERT_TRUE(meeting.established());
    meeting.client.log->setMinimumSeverity(Severity::Warning);
    meeting.server.log->setMinimumSeverity(Severity::Warning);
    connect();
    makeThreads(meeting, warmUpThreads);
    const std::size_t memoryBefore = memoryInUse();
    const std::size_t handlesBefore = nextHandle();
    makeThreads(meeting, VEXASSL_THREADS);
    const std::size_t memoryAfter = memoryInUse();
    const std::size_t handlesAfter = nextHandle();
    std::cout << VEXASSL_THREADS << " threads: memory " << memoryBefore / 1024 << " KiB before, "
              << memoryAfter / 1024 << " KiB after; next handle " << handlesBefore << " before, "
              << handlesAfter << " after\n";
    ASSERT_GT(memoryBefore, 0U);
    EXPECT_LE(memoryAfter, memoryBefore + mostBytesAThread * VEXASSL_THREADS);
    EXPECT_LE(handlesAfter, handlesBefore + mostHandles);
}

} // namespace
} // namespace VexaSsl::test
