// A host whose threads come and go: what each of them leaves behind in the library and beneath it.
// The library gets no notice of a thread's end, so nothing may depend on one.
#include "integration/support/Meeting.h"
#include "module/Memory.h"

#include "VexaSsl/VexaSsl.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>

namespace VexaSsl::test {
namespace {

// One that leaves even the smallest allocation behind in each thread makes this much of them.
constexpr std::size_t mostBytesAThread = 8;
constexpr int warmUpThreads = VEXASSL_THREADS / 20;
// Of so many threads one works on a connection, and of so many one makes a connection of its own.
constexpr int sharingOne = 10;
constexpr int connectingOne = VEXASSL_THREADS / 50;

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

void makeThreads(Meeting& meeting, int count) {
    for (int i = 1; i <= count; ++i) {
        std::thread([&, i] {
            visit();
            if (i % sharingOne == 0) {
                exchange(meeting);
            }
            if (i % connectingOne == 0) {
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
    makeThreads(meeting, warmUpThreads);
    connect();
    const std::size_t memoryBefore = memoryInUse();
    const std::size_t handlesBefore = openDescriptors();
    makeThreads(meeting, VEXASSL_THREADS);
    const std::size_t memoryAfter = memoryInUse();
    const std::size_t handlesAfter = openDescriptors();
    std::printf("%d threads: memory %zu KiB before, %zu KiB after; handles %zu before, %zu after\n",
                VEXASSL_THREADS, memoryBefore / 1024, memoryAfter / 1024, handlesBefore,
                handlesAfter);
    EXPECT_LE(memoryAfter, memoryBefore + mostBytesAThread * VEXASSL_THREADS);
    EXPECT_LE(handlesAfter, handlesBefore + 2);
}

} // namespace
} // namespace VexaSsl::test
