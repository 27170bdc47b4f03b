#include "VexaSsl/SslLog.h"

#include "fakes/ScriptedPlatform.h"
#include "fakes/TemporaryFolder.h"
#include "unit/Allocations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>

namespace VexaSsl::test {
namespace {

// Replaces the process's console during its lifetime.
class Console {
public:
    Console() : former(std::wcout.rdbuf(buffer.rdbuf())) {}
    ~Console() { std::wcout.rdbuf(former); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    std::wstring text() const { return buffer.str(); }

private:
    std::wstringstream buffer;
    std::wstreambuf* former;
};

// A wide buffer that counts its flushes.
class FlushCounter : public std::wstringbuf {
public:
    int flushes = 0;

protected:
    int sync() override {
        ++flushes;
        return 0;
    }
};

// A wide buffer that keeps nothing.
class UnitSink : public std::wstreambuf {
protected:
    int_type overflow(int_type unit) override { return traits_type::not_eof(unit); }
};

class SslLogTest : public testing::Test {
protected:
    SslLogTest() { runAs("server"); }

    void runAs(const std::string& executable) {
        platform.GetModuleFileNameW =
            [path = folder.path(executable).wstring()](HMODULE, wchar_t* buffer, DWORD size) {
                return static_cast<DWORD>(path.copy(buffer, size));
            };
    }

    TemporaryFolder folder;
    ScriptedPlatform platform;
    Console console;
};

TEST_F(SslLogTest, pathOfTheExecutableIsRequestedInAZeroedBufferOf260Units) {
    platform.GetModuleFileNameW = [this](HMODULE module, wchar_t* buffer, DWORD size) {
        EXPECT_EQ(module, nullptr);
        EXPECT_EQ(size, 260U);
        EXPECT_TRUE(std::all_of(buffer, buffer + size, [](wchar_t unit) { return unit == 0; }));
        return static_cast<DWORD>(folder.path("server").wstring().copy(buffer, size));
    };
    const SslLog log;
    EXPECT_EQ(platform.calls, std::vector<std::string>{"GetModuleFileNameW"});
}

TEST_F(SslLogTest, extensionOfTheExecutableIsReplaced) {
    runAs("server.exe");
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(folder.path("server.log")));
}

TEST_F(SslLogTest, onlyTheLastExtensionIsReplaced) {
    runAs("a.b.exe");
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(folder.path("a.b.log")));
}

TEST_F(SslLogTest, nameWithoutAnExtensionGainsOne) {
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(folder.path("server.log")));
}

TEST_F(SslLogTest, pathThatWasCutIsUsedAsItIs) {
    const std::wstring start = folder.path("").wstring();
    const std::wstring cut = start + std::wstring(260 - start.size(), L'x');
    platform.GetModuleFileNameW = [cut](HMODULE, wchar_t* buffer, DWORD size) {
        return static_cast<DWORD>(cut.copy(buffer, size));
    };
    { SslLog().log(Severity::Info, L"x"); }
    std::filesystem::path expected(cut);
    EXPECT_EQ(folder.readText(expected.filename().string() + ".log"), "[Info] x\n");
}

TEST_F(SslLogTest, freshLogLeavesANewFileEmpty) {
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(folder.path("server.log")));
    EXPECT_EQ(folder.readText("server.log"), "");
    EXPECT_EQ(console.text(), L"");
}

TEST_F(SslLogTest, freshLogDropsDebugLines) {
    SslLog log;
    log.log(Severity::Debug, L"x");
    EXPECT_EQ(folder.readText("server.log"), "");
    EXPECT_EQ(console.text(), L"");
}

TEST_F(SslLogTest, freshLogTakesInfoLines) {
    SslLog log;
    log.log(Severity::Info, L"x");
    EXPECT_EQ(folder.readText("server.log"), "[Info] x\n");
}

TEST_F(SslLogTest, warningGoesToFileAndConsole) {
    SslLog log;
    log.log(Severity::Warning, L"x");
    EXPECT_EQ(folder.readText("server.log"), "[Warning] x\n");
    EXPECT_EQ(console.text(), L"[Warning] x\n");
}

TEST_F(SslLogTest, everySeverityHasItsTag) {
    SslLog log;
    log.setMinimumSeverity(Severity::Debug);
    for (int number = 1; number <= 5; ++number) {
        log.log(static_cast<Severity>(number), L"x");
    }
    EXPECT_EQ(folder.readText("server.log"),
              "[Debug] x\n[Info] x\n[Warning] x\n[Error] x\n[Fatal] x\n");
    EXPECT_EQ(console.text(), L"[Debug] x\n[Info] x\n[Warning] x\n[Error] x\n[Fatal] x\n");
}

TEST_F(SslLogTest, fatalPassesEveryThresholdFromOneToFive) {
    std::string expected;
    SslLog log;
    for (int threshold = 1; threshold <= 5; ++threshold) {
        log.setMinimumSeverity(static_cast<Severity>(threshold));
        log.log(Severity::Fatal, L"x");
        expected += "[Fatal] x\n";
    }
    EXPECT_EQ(folder.readText("server.log"), expected);
}

TEST_F(SslLogTest, thresholdAboveFatalSilencesEveryTaggedLine) {
    SslLog log;
    log.setMinimumSeverity(static_cast<Severity>(6));
    for (int number = 1; number <= 5; ++number) {
        log.log(static_cast<Severity>(number), L"x");
    }
    EXPECT_EQ(folder.readText("server.log"), "");
    EXPECT_EQ(console.text(), L"");
}

TEST_F(SslLogTest, severityOutsideTheNamesHasNoTag) {
    SslLog log;
    log.log(static_cast<Severity>(9), L"x");
    EXPECT_EQ(folder.readText("server.log"), " x\n");
}

TEST_F(SslLogTest, severityIsComparedAsASignedNumber) {
    SslLog log;
    log.log(static_cast<Severity>(-1), L"x");
    EXPECT_EQ(folder.readText("server.log"), "");
    log.setMinimumSeverity(static_cast<Severity>(-1));
    log.log(static_cast<Severity>(0), L"x");
    EXPECT_EQ(folder.readText("server.log"), " x\n");
}

TEST_F(SslLogTest, emptyTextIsTagAndSpace) {
    SslLog log;
    log.log(Severity::Error, L"");
    EXPECT_EQ(folder.readText("server.log"), "[Error] \n");
}

TEST_F(SslLogTest, lineEndInTheTextMakesASecondLineWithoutTag) {
    SslLog log;
    log.log(Severity::Error, L"one\ntwo");
    EXPECT_EQ(folder.readText("server.log"), "[Error] one\ntwo\n");
}

TEST_F(SslLogTest, consoleIsFlushedWithEveryLine) {
    FlushCounter counter;
    std::wstreambuf* former = std::wcout.rdbuf(&counter);
    SslLog log;
    log.log(Severity::Info, L"x");
    log.log(Severity::Error, L"y");
    std::wcout.rdbuf(former);
    EXPECT_EQ(counter.flushes, 2);
}

TEST_F(SslLogTest, shouldLogComparesWithTheThreshold) {
    SslLog log;
    EXPECT_FALSE(log.shouldLog(Severity::Debug));
    EXPECT_TRUE(log.shouldLog(Severity::Info));
    log.setMinimumSeverity(Severity::Error);
    EXPECT_FALSE(log.shouldLog(Severity::Warning));
}

TEST_F(SslLogTest, closingIsLoggedWithThresholdDebug) {
    { SslLog().setMinimumSeverity(Severity::Debug); }
    EXPECT_EQ(folder.readText("server.log"), "[Debug] closing log\n");
    EXPECT_EQ(console.text(), L"[Debug] closing log\n");
}

TEST_F(SslLogTest, closingAllocatesNoMemory) {
    UnitSink sink;
    std::wstreambuf* former = std::wcout.rdbuf(&sink);
    auto log = std::make_unique<SslLog>();
    log->setMinimumSeverity(Severity::Debug);
    const long before = allocations();
    log.reset();
    EXPECT_EQ(allocations(), before);
    std::wcout.rdbuf(former);
    EXPECT_EQ(folder.readText("server.log"), "[Debug] closing log\n");
}

TEST_F(SslLogTest, closingIsSilentWithThresholdInfo) {
    { SslLog().setMinimumSeverity(Severity::Info); }
    EXPECT_EQ(folder.readText("server.log"), "");
    EXPECT_EQ(console.text(), L"");
}

TEST_F(SslLogTest, secondRunAppendsToTheFirst) {
    { SslLog().log(Severity::Info, L"first"); }
    { SslLog().log(Severity::Info, L"second"); }
    EXPECT_EQ(folder.readText("server.log"), "[Info] first\n[Info] second\n");
}

TEST_F(SslLogTest, twoOpenLogsShareTheFile) {
    SslLog one;
    SslLog other;
    one.log(Severity::Info, L"one");
    other.log(Severity::Info, L"other");
    one.log(Severity::Info, L"one again");
    EXPECT_EQ(folder.readText("server.log"), "[Info] one\n[Info] other\n[Info] one again\n");
}

TEST_F(SslLogTest, fileThatCannotBeOpenedLeavesTheConsole) {
    runAs("no such folder/server");
    EXPECT_NO_THROW({
        SslLog log;
        log.log(Severity::Warning, L"x");
    });
    EXPECT_EQ(console.text(), L"[Warning] x\n");
}

TEST_F(SslLogTest, executablePathThatIsNoFileNameLeavesTheConsole) {
    platform.GetModuleFileNameW = [](HMODULE, wchar_t* buffer, DWORD) {
        buffer[0] = static_cast<wchar_t>(0xD800); // half of a surrogate pair
        return DWORD{1};
    };
    EXPECT_NO_THROW({
        SslLog log;
        log.log(Severity::Warning, L"x");
    });
    EXPECT_EQ(console.text(), L"[Warning] x\n");
}

TEST_F(SslLogTest, fileHoldsOneByteForAUnitUpTo255) {
    SslLog log;
    log.log(Severity::Info, L"\u00E9");
    EXPECT_EQ(folder.readText("server.log"), "[Info] \xE9\n");
}

TEST_F(SslLogTest, unitThatTheFileCannotHoldEndsTheFileButNotTheConsole) {
    SslLog log;
    log.log(Severity::Info, L"before");
    log.log(Severity::Info, L"\u4E2D");
    log.log(Severity::Info, L"after");
    EXPECT_EQ(folder.readText("server.log"), "[Info] before\n");
    EXPECT_EQ(console.text(), L"[Info] before\n[Info] \u4E2D\n[Info] after\n");
}

TEST_F(SslLogTest, failedConsoleIsTriedAgainWithTheNextLine) {
    SslLog log;
    std::wcout.setstate(std::ios_base::badbit);
    log.log(Severity::Info, L"x");
    EXPECT_EQ(console.text(), L"[Info] x\n");
}

} // namespace
} // namespace VexaSsl::test
