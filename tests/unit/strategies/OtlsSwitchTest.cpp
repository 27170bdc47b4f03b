#include "unit/strategies/OtlsStage.h"

#include <algorithm>

namespace VexaSsl {
namespace {

using test::LogLine;
using Stage = test::OtlsStage;

constexpr SOCKET connection = Stage::connection;
constexpr int answer = 4711;

class OtlsSwitch : public test::OtlsTest {};

TEST_F(OtlsSwitch, startWithoutANameFailsAndCanBeRepeatedAfterALookup) {
    stage.strategy->connect(connection, nullptr, 0);
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::noHostNameLine}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.send("clear"), 5);
    EXPECT_EQ(stage.written, "clear");
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"peer"}));
}

TEST_F(OtlsSwitch, serverNeedsANameToo) {
    acceptOne();
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::noHostNameLine}));
}

TEST_F(OtlsSwitch, nullNodeThatResolvedIsNameEnough) {
    stage.resolve(nullptr);
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"localhost"}));
}

TEST_F(OtlsSwitch, wideLookupIsRememberedToo) {
    stage.strategy->GetAddrInfoW(L"wide", nullptr, nullptr, nullptr);
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.targets, (std::vector<std::wstring>{L"wide"}));
}

TEST_F(OtlsSwitch, dataIsEncryptedAfterTheStart) {
    startEncrypted();
    EXPECT_EQ(stage.send("data"), 4);
    EXPECT_EQ(stage.cipher.open(stage.written), "data");
    stage.arriveSealed("answer");
    EXPECT_EQ(stage.receive(6), "answer");
}

TEST_F(OtlsSwitch, overlappedOperationsAreEncryptedAfterTheStart) {
    startEncrypted();
    std::string data = "data";
    WSABUF buffer{4, data.data()};
    DWORD count = 0;
    EXPECT_EQ(stage.strategy->WSASend(connection, &buffer, 1, &count, 0, nullptr, nullptr), 0);
    EXPECT_EQ(stage.written, stage.cipher.seal("data"));
    const std::string wire = stage.cipher.seal("got!");
    stage.lower->onWSARecv = [&](SOCKET, WSABUF* buffers, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                                 LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
        std::copy(wire.begin(), wire.end(), buffers[0].buf);
        return 0;
    };
    WSAOVERLAPPED state{};
    DWORD flags = 0;
    EXPECT_EQ(stage.strategy->WSARecv(connection, &buffer, 1, &count, &flags, &state, nullptr), 0);
    count = static_cast<DWORD>(wire.size());
    EXPECT_EQ(stage.strategy->completeWSARecv(0, &count, nullptr), 0);
    EXPECT_EQ(data, "got!");
}

TEST_F(OtlsSwitch, selectCountsHeldDataAfterTheStart) {
    startEncrypted();
    stage.arriveSealed("held");
    EXPECT_EQ(stage.receive(1), "h");
    fd_set set{};
    set.fd_count = 1;
    set.fd_array[0] = connection;
    stage.lower->calls.clear();
    EXPECT_EQ(stage.strategy->select(0, &set, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(stage.lower->calls.empty());
}

TEST_F(OtlsSwitch, secondStartGivesZeroAndTouchesNothing) {
    startEncrypted();
    SecureSocketRecord* const record = stage.strategy->record.get();
    stage.strategy->remoteHostName.clear();
    EXPECT_EQ(stage.strategy->startOtls(), 0);
    EXPECT_EQ(stage.strategy->record.get(), record);
    EXPECT_TRUE(stage.platform.calls.empty());
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(OtlsSwitch, startAfterAFailedConnectFailsOnNoSocket) {
    stage.resolve("peer");
    stage.lower->onConnect = [](auto...) { return SOCKET_ERROR; };
    stage.strategy->connect(connection, nullptr, 0);
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_I_CONTINUE_NEEDED; };
    stage.lower->onRecv = [](SOCKET s, char*, int, int) {
        EXPECT_EQ(s, INVALID_SOCKET);
        return SOCKET_ERROR;
    };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"Can't establish a security context. can't recv"}));
}

TEST_F(OtlsSwitch, failedStartLeavesTheSocketOpenAndTheTrafficClear) {
    connectPlain();
    stage.platform.lastError = answer;
    stage.platform.InitializeSecurityContextW = [](auto...) { return SEC_E_INVALID_TOKEN; };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"Can't establish a security context. "
                                        L"InitializeSecurityContext failed"}));
    EXPECT_EQ(stage.strategy->socket, connection);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platform.lastError, answer);
    EXPECT_EQ(stage.send("clear"), 5);
    EXPECT_EQ(stage.written, "clear");
}

TEST_F(OtlsSwitch, exhaustedMemoryInTheStartIsLogged) {
    connectPlain();
    stage.platform.AcquireCredentialsHandleW = [](auto...) -> SECURITY_STATUS {
        throw std::bad_alloc();
    };
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(), test::outOfMemoryLine());
}

TEST(SometimesSecureSocketStrategy, badSecurityOptionShowsAtTheStart) {
    Stage stage;
    stage.config.setValue(L"RequireClientAuthentication", L"Yes");
    stage.make();
    stage.resolve("peer");
    EXPECT_EQ(stage.strategy->startOtls(), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines.back(),
              (LogLine{Severity::Error, L"An unexpected C++ standard library exception occurred: "
                                        L"invalid configuration"}));
}

TEST_F(OtlsSwitch, connectWhileEncryptedKeepsTheRecordAndTheEncryption) {
    startEncrypted();
    SecureSocketRecord* const record = stage.strategy->record.get();
    EXPECT_EQ(stage.strategy->connect(9, nullptr, 0), 0);
    EXPECT_EQ(stage.strategy->socket, SOCKET{9});
    EXPECT_EQ(stage.strategy->record.get(), record);
    stage.send("data");
    EXPECT_EQ(stage.written, stage.cipher.seal("data"));
}

TEST_F(OtlsSwitch, stopDropsTheRecordSilentlyAndReturnsToTheClear) {
    startEncrypted();
    EXPECT_EQ(stage.strategy->stopOtls(), 0);
    EXPECT_EQ(stage.strategy->record, nullptr);
    EXPECT_EQ(stage.deleted.size(), 1U);
    EXPECT_TRUE(stage.lower->calls.empty());
    stage.send("clear");
    EXPECT_EQ(stage.written, "clear");
    EXPECT_EQ(stage.strategy->startOtls(), 0) << "and can start again";
}

TEST_F(OtlsSwitch, stopInTheClearDoesNothing) {
    EXPECT_EQ(stage.strategy->stopOtls(), 0);
    EXPECT_TRUE(stage.platform.calls.empty());
}

} // namespace
} // namespace VexaSsl
