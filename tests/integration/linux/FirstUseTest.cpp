// Many threads at the same time at what the library and the binding do once in a process: the check
// for the security package, constants, tables and caches. Each test runs in a new process.
#include "VexaSsl/ModuleVersion.h"
#include "fakes/Sweep.h"
#include "integration/support/ConnectedPair.h"
#include "integration/support/Pki.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

constexpr int threadCount = 16;

// Returns how many threads have succeeded; all start at the same time.
int race(const std::function<bool(int)>& work) {
    std::barrier start(threadCount);
    std::atomic<int> well = 0;
    {
        std::vector<std::jthread> threads;
        for (int number = 0; number < threadCount; ++number) {
            threads.emplace_back([&, number] {
                start.arrive_and_wait();
                well += work(number) ? 1 : 0;
            });
        }
    }
    return well;
}

// Runs in the new process. Doesn't return.
[[noreturn]] void raceAndLeave(const std::function<bool(int)>& work) {
    std::exit(race(work) == threadCount ? 0 : 1);
}

class FirstUse : public testing::Test {
protected:
    // A new process runs the program from its start instead of a copy of this one's memory.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

bool connects(int number) {
    ConnectedPair pair =
        number % 2 == 0
            ? connectEncrypted()
            : connectPair(
                  {.client = Settings::clientSending(pki::client),
                   .server = Settings::serverSending(pki::localhostElliptic)
                                 .with("RequireClientAuthentication", "True")
                                 .with("AcceptableClientCertificateToReceiveNames", "Any")});
    const std::string text = "number " + std::to_string(number);
    return pair.established() && pair.client.sendAll(text) &&
           pair.server.receiveAll(text.size()) == text;
}

TEST_F(FirstUse, sixteenThreadsMayConnectFirst) {
    EXPECT_EXIT(raceAndLeave(connects), testing::ExitedWithCode(0), "");
    if (!HasFailure()) {
        reportFigure("Threads",
                     "first connections of a process, made by 16 threads at once: all established");
    }
}

TEST_F(FirstUse, sixteenThreadsMayBeRefusedFirst) {
    EXPECT_EXIT(raceAndLeave([](int number) {
                    const ConnectedPair pair =
                        connectPair({.client = Settings::encrypted(),
                                     .server = Settings::serverSending(
                                         number % 2 == 0 ? pki::expired : pki::untrusted)});
                    return !pair.client.established() &&
                           !pair.client.log->linesFrom(Severity::Error).empty();
                }),
                testing::ExitedWithCode(0), "");
}

bool readsConstantsSettingsAndVersion(int) {
    SharedLog log;
    const auto config = Settings::encrypted().load(log);
    DLLVERSIONINFO version{};
    version.cbSize = sizeof version;
    return ConfigurationDefinition::VexaSslSection == L"VexaSsl" &&
           config->getValue(L"UseEncryption") == L"True" && DllGetVersion(&version) == 0 &&
           version.dwMajorVersion == 22 && convertWideToNarrow(L"caf\u00e9") == "caf\xe9";
}

TEST_F(FirstUse, sixteenThreadsMayReadConstantsAndVersionFirst) {
    EXPECT_EXIT(raceAndLeave(readsConstantsSettingsAndVersion), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
