// The log file of the ready-made sink as the system sees it: where it lies, who else may open it,
// and the bytes in it. Every test writes the one file beside this program.
#include "VexaSsl/SslLog.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace VexaSsl {
namespace {

std::filesystem::path logFile() {
    wchar_t executable[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, executable, MAX_PATH);
    return std::filesystem::path(executable).parent_path() / L"log_file_tests.log";
}

// Another opener of the file, as another program would be.
class Opener {
public:
    Opener(DWORD access, DWORD sharing)
        : file(CreateFileW(logFile().c_str(), access, sharing, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr)),
          error(file == INVALID_HANDLE_VALUE ? GetLastError() : 0) {}
    ~Opener() {
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
        }
    }
    Opener(const Opener&) = delete;
    Opener& operator=(const Opener&) = delete;

    const HANDLE file;
    const DWORD error; // 0: it is open
};

class LogFile : public ::testing::Test {
protected:
    LogFile() { std::filesystem::remove(logFile()); }
    ~LogFile() override { std::filesystem::remove(logFile()); }

    static std::string bytes() {
        std::ifstream in(logFile(), std::ios_base::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
};

TEST_F(LogFile, liesBesideTheExecutableAndIsNamedAfterIt) {
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(logFile()));
}

TEST_F(LogFile, linesEndWithCarriageReturnAndLineFeed) {
    SslLog log;
    log.log(Severity::Info, L"one");
    log.log(Severity::Error, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\n[Error] two\r\n");
}

TEST_F(LogFile, othersMayReadAndWriteItMeanwhile) {
    SslLog log;
    log.log(Severity::Info, L"one");
    const Opener other(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_EQ(other.error, 0U);
    log.log(Severity::Info, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\n[Info] two\r\n");
}

TEST_F(LogFile, whatAnotherWriterAppendedIsNotOverwritten) {
    SslLog log;
    log.log(Severity::Info, L"one");
    {
        const Opener other(FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE);
        ASSERT_EQ(other.error, 0U);
        DWORD written = 0;
        ASSERT_TRUE(WriteFile(other.file, "other\r\n", 7, &written, nullptr));
    }
    log.log(Severity::Info, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\nother\r\n[Info] two\r\n");
}

TEST_F(LogFile, isOpenAsLongAsTheLogLives) {
    {
        const SslLog log;
        EXPECT_EQ(Opener(GENERIC_READ, 0).error, DWORD{ERROR_SHARING_VIOLATION});
    }
    EXPECT_EQ(Opener(GENERIC_READ, 0).error, 0U);
}

TEST_F(LogFile, thatSomebodyHoldsForHimselfLeavesTheLogSilentThere) {
    std::ofstream(logFile()) << "held\n";
    const Opener other(GENERIC_READ, FILE_SHARE_READ);
    ASSERT_EQ(other.error, 0U);
    EXPECT_NO_THROW({
        SslLog log;
        log.log(Severity::Error, L"lost");
    });
    EXPECT_EQ(bytes(), "held\r\n");
}

} // namespace
} // namespace VexaSsl
