// The check runs once in a process, so each test runs as a death test in its own process; the exit
// code is the result.
#include "secure/SecurityPackageCheck.h"

#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace VexaSsl {
namespace {

using test::CollectingLog;
using test::LogLine;
using test::ScriptedPlatform;

const LogLine announcement{Severity::Debug,
                           L"Checking for the presence of the Schannel Security Package"};

// Scripts a list of packages with these names.
class Packages {
public:
    Packages(ScriptedPlatform& platform, std::vector<std::wstring> names)
        : texts(std::move(names)) {
        for (std::wstring& text : texts) {
            SecPkgInfoW package{};
            package.Name = text.data();
            packages.push_back(package);
        }
        platform.EnumerateSecurityPackagesW = [this](ULONG* count, SecPkgInfoW** list) {
            *count = static_cast<ULONG>(packages.size());
            *list = packages.empty() ? nullptr : packages.data();
            return SEC_E_OK;
        };
        platform.FreeContextBuffer = [this](void* buffer) {
            EXPECT_EQ(buffer, packages.empty() ? nullptr : packages.data());
            ++released;
            return SEC_E_OK;
        };
    }

    int released = 0;

private:
    std::vector<std::wstring> texts;
    std::vector<SecPkgInfoW> packages;
};

std::string refusal(CollectingLog& log) {
    try {
        checkSecurityPackage(log);
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "no exception";
}

template <typename Body>
[[noreturn]] void judge(Body body) {
    body();
    const bool failed = testing::Test::HasFailure();
    std::fflush(nullptr);
    std::_Exit(failed ? 1 : 0);
}

#define IN_A_PROCESS_OF_ITS_OWN(...)                                                               \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                \
    EXPECT_EXIT(judge(__VA_ARGS__), testing::ExitedWithCode(0), "")

void passesOnce() {
    ScriptedPlatform platform;
    CollectingLog log;
    Packages packages(platform, {L"NTLM", L"Schannel", L"Kerberos"});
    checkSecurityPackage(log);
    EXPECT_EQ(log.lines, (std::vector<LogLine>{announcement}));
    EXPECT_EQ(packages.released, 1);
    checkSecurityPackage(log);
    EXPECT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(packages.released, 1);
}

TEST(SecurityPackageCheckDeathTest, packageIsCheckedOnceAndTheListReleased) {
    IN_A_PROCESS_OF_ITS_OWN(passesOnce);
}

void refusesOtherLetterCase() {
    ScriptedPlatform platform;
    CollectingLog log;
    Packages packages(platform, {L"SCHANNEL", L"schannel", L"Schannel2", L"Schanne", L""});
    EXPECT_EQ(refusal(log), "schannel package not present");
    EXPECT_EQ(log.lines, (std::vector<LogLine>{
                             announcement,
                             {Severity::Error,
                              L"The Schannel Security Package is not available on this computer. "
                              L"Are you sure you're running on Windows?"}}));
    EXPECT_EQ(packages.released, 1);
}

TEST(SecurityPackageCheckDeathTest, nameInAnotherLetterCaseDoesNotCount) {
    IN_A_PROCESS_OF_ITS_OWN(refusesOtherLetterCase);
}

// The array is null then.
void refusesEmptyList() {
    ScriptedPlatform platform;
    CollectingLog log;
    const Packages packages(platform, {});
    EXPECT_EQ(refusal(log), "schannel package not present");
    EXPECT_EQ(packages.released, 1);
}

TEST(SecurityPackageCheckDeathTest, emptyListIsRefusedAndReleased) {
    IN_A_PROCESS_OF_ITS_OWN(refusesEmptyList);
}

void looksAgainAfterAFailure() {
    ScriptedPlatform platform;
    CollectingLog log;
    {
        const Packages packages(platform, {L"NTLM"});
        EXPECT_EQ(refusal(log), "schannel package not present");
    }
    log.lines.clear();
    const Packages packages(platform, {L"Schannel"});
    EXPECT_EQ(refusal(log), "no exception");
    EXPECT_EQ(refusal(log), "no exception");
    EXPECT_EQ(log.lines, (std::vector<LogLine>{announcement}));
}

TEST(SecurityPackageCheckDeathTest, failedCheckIsRepeatedAndAPassedOneIsNot) {
    IN_A_PROCESS_OF_ITS_OWN(looksAgainAfterAFailure);
}

void tellsTheStatus() {
    ScriptedPlatform platform;
    CollectingLog log;
    platform.EnumerateSecurityPackagesW = [](auto...) { return SEC_E_INSUFFICIENT_MEMORY; };
    EXPECT_EQ(refusal(log), "-2146893056") << "signed, while the log line is unsigned";
    EXPECT_EQ(log.lines,
              (std::vector<LogLine>{
                  announcement,
                  {Severity::Error,
                   L"EnumerateSecurityPackages failed with: 2148074240 (text of 2148074240)"}}));
    EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "FreeContextBuffer"), 0);
}

TEST(SecurityPackageCheckDeathTest, failedListingThrowsTheStatusAsANumber) {
    IN_A_PROCESS_OF_ITS_OWN(tellsTheStatus);
}

void secondStrategyIsSilent() {
    test::SecureStage<> stage;
    const auto make = [&] {
        const SecureSocketStrategy strategy(stage.log, stage.config,
                                            std::make_unique<test::ScriptedStrategy>());
    };
    make();
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{announcement}));
    make();
    EXPECT_EQ(stage.log.lines.size(), 1U);
}

TEST(SecurityPackageCheckDeathTest, secondStrategyOfAProcessDoesNotCheck) {
    IN_A_PROCESS_OF_ITS_OWN(secondStrategyIsSilent);
}

void constructionFails() {
    test::SecureStage<> stage;
    const Packages packages(stage.platform, {L"NTLM"});
    const auto make = [&] {
        const SecureSocketStrategy strategy(stage.log, stage.config,
                                            std::make_unique<test::ScriptedStrategy>());
    };
    EXPECT_THROW(make(), std::runtime_error);
    EXPECT_EQ(stage.log.lines.size(), 2U);
    EXPECT_THROW(make(), std::runtime_error);
    EXPECT_EQ(stage.log.lines.size(), 4U);
}

TEST(SecurityPackageCheckDeathTest, strategyCannotBeMadeWithoutThePackage) {
    IN_A_PROCESS_OF_ITS_OWN(constructionFails);
}

} // namespace
} // namespace VexaSsl
