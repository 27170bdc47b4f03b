// Everything that the library and its platform do once a process, raced for by many threads: the
// look for the security package, the shipped constants, the tables and caches. Each race runs in a
// process of its own, since there is only one first time.
#include "VexaSsl/ModuleVersion.h"
#include "fakes/Sweep.h"
#include "integration/support/Meeting.h"
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

// How many of the threads found everything in order; all start at once.
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

// Runs in the new process and ends it.
[[noreturn]] void raceAndLeave(const std::function<bool(int)>& work) {
    std::exit(race(work) == threadCount ? 0 : 1);
}

class FirstUse : public testing::Test {
protected:
    // A new process starts the program anew instead of going on with this one's memory.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

bool connects(int number) {
    Meeting meeting =
        number % 2 == 0
            ? meetEncrypted()
            : meet({.client = Settings::clientSending(pki::client),
                    .server = Settings::serverSending(pki::localhostElliptic)
                                  .with("RequireClientAuthentication", "True")
                                  .with("AcceptableClientCertificateToReceiveNames", "Any")});
    const std::string text = "number " + std::to_string(number);
    return meeting.established() && meeting.client.say(text) &&
           meeting.server.hear(text.size()) == text;
}

TEST_F(FirstUse, ofConnectionsBySixteenThreadsAtOnceIsSafe) {
    EXPECT_EXIT(raceAndLeave(connects), testing::ExitedWithCode(0), "");
    if (!HasFailure()) {
        reportFigure("Threads",
                     "first connections of a process, made by 16 threads at once: all established");
    }
}

TEST_F(FirstUse, ofRefusalsBySixteenThreadsAtOnceIsSafe) {
    EXPECT_EXIT(raceAndLeave([](int number) {
                    const Meeting meeting =
                        meet({.client = Settings::encrypted(),
                              .server = Settings::serverSending(number % 2 == 0 ? pki::expired
                                                                                : pki::untrusted)});
                    return !meeting.client.established() &&
                           !meeting.client.log->linesFrom(Severity::Error).empty();
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

TEST_F(FirstUse, ofConstantsSettingsAndVersionBySixteenThreadsAtOnceIsSafe) {
    EXPECT_EXIT(raceAndLeave(readsConstantsSettingsAndVersion), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
