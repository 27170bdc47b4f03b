// The log file of SslLog: its place, its sharing mode and its bytes. Every test writes the same
// file, next to this program.
#include "VexaSsl/SslLog.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace VexaSsl::test {
namespace {

std::filesystem::path logFile() {
    wchar_t executable[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, executable, MAX_PATH);
    return std::filesystem::path(executable).parent_path() / L"log_file_tests.log";
}

// Opens the file as another program would.
class OtherOpener {
public:
    OtherOpener(DWORD access, DWORD sharing)
        : file(CreateFileW(logFile().c_str(), access, sharing, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr)),
          error(file == INVALID_HANDLE_VALUE ? GetLastError() : 0) {}
    ~OtherOpener() {
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
        }
    }
    OtherOpener(const OtherOpener&) = delete;
    OtherOpener& operator=(const OtherOpener&) = delete;

    const HANDLE file;
    const DWORD error; // 0 if it is open
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

TEST_F(LogFile, logFileIsNextToTheExecutableAndNamedAfterIt) {
    const SslLog log;
    EXPECT_TRUE(std::filesystem::exists(logFile()));
}

TEST_F(LogFile, linesEndWithCarriageReturnAndLineFeed) {
    SslLog log;
    log.log(Severity::Info, L"one");
    log.log(Severity::Error, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\n[Error] two\r\n");
}

TEST_F(LogFile, otherProcessesMayReadAndWriteTheOpenLog) {
    SslLog log;
    log.log(Severity::Info, L"one");
    const OtherOpener other(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_EQ(other.error, 0U);
    log.log(Severity::Info, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\n[Info] two\r\n");
}

TEST_F(LogFile, linesOfAnotherWriterAreNotOverwritten) {
    SslLog log;
    log.log(Severity::Info, L"one");
    {
        const OtherOpener other(FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE);
        ASSERT_EQ(other.error, 0U);
        DWORD written = 0;
        ASSERT_TRUE(WriteFile(other.file, "other\r\n", 7, &written, nullptr));
    }
    log.log(Severity::Info, L"two");
    EXPECT_EQ(bytes(), "[Info] one\r\nother\r\n[Info] two\r\n");
}

TEST_F(LogFile, logFileIsOpenWhileTheLogExists) {
    {
        const SslLog log;
        EXPECT_EQ(OtherOpener(GENERIC_READ, 0).error, DWORD{ERROR_SHARING_VIOLATION});
    }
    EXPECT_EQ(OtherOpener(GENERIC_READ, 0).error, 0U);
}

TEST_F(LogFile, logFileLockedByAnotherProcessIsNotWritten) {
    std::ofstream(logFile()) << "held\n";
    const OtherOpener other(GENERIC_READ, FILE_SHARE_READ);
    ASSERT_EQ(other.error, 0U);
    EXPECT_NO_THROW({
        SslLog log;
        log.log(Severity::Error, L"lost");
    });
    EXPECT_EQ(bytes(), "held\r\n");
}

} // namespace
} // namespace VexaSsl::test
