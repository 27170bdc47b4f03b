#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

class BlockingSend : public testing::Test {
protected:
    void SetUp() override { stage.makeConnected(); }

    test::SecureStage<> stage;
};

TEST_F(BlockingSend, exactlyTheLargestMessageMakesOneRecord) {
    const std::string data(100, 'x');
    EXPECT_EQ(stage.send(data), 100);
    EXPECT_EQ(stage.written.size(), 100 + stage.cipher.overhead());
    EXPECT_EQ(stage.cipher.encryptCalls, 1);
    EXPECT_EQ(stage.cipher.open(stage.written), data);
}

TEST_F(BlockingSend, oneByteMoreMakesASecondRecordOfOneByte) {
    const std::string data(101, 'x');
    EXPECT_EQ(stage.send(data), 101);
    EXPECT_EQ(stage.cipher.encryptCalls, 2);
    EXPECT_EQ(stage.written.size(), 101 + 2 * stage.cipher.overhead());
    EXPECT_EQ(stage.cipher.open(stage.written.substr(100 + stage.cipher.overhead())), "x");
}

TEST_F(BlockingSend, nothingToSendSendsNotEvenAnEmptyRecord) {
    EXPECT_EQ(stage.send(""), 0);
    EXPECT_TRUE(stage.lower->calls.empty());
    EXPECT_EQ(stage.cipher.encryptCalls, 0);
}

TEST_F(BlockingSend, eachRecordLeavesBeforeTheNextIsMade) {
    std::vector<int> encryptedAtSend;
    stage.lower->onSend = [&](SOCKET, const char*, int len, int) {
        encryptedAtSend.push_back(stage.cipher.encryptCalls);
        return len;
    };
    stage.send(std::string(250, 'x'));
    EXPECT_EQ(encryptedAtSend, (std::vector<int>{1, 2, 3}));
}

TEST_F(BlockingSend, lowerSendThatTakesAPartIsCalledForTheRest) {
    std::vector<int> offered;
    stage.lower->onSend = [&](SOCKET, const char* buf, int len, int) {
        offered.push_back(len);
        const int taken = std::min(len, 5);
        stage.written.append(buf, static_cast<std::size_t>(taken));
        return taken;
    };
    EXPECT_EQ(stage.send("hi"), 2);
    EXPECT_EQ(offered, (std::vector<int>{14, 9, 4}));
    EXPECT_EQ(stage.cipher.open(stage.written), "hi");
}

TEST_F(BlockingSend, lowerSendThatTakesNothingIsRepeatedWithTheSameBytes) {
    std::vector<std::string> offered;
    stage.lower->onSend = [&](SOCKET, const char* buf, int len, int) {
        offered.emplace_back(buf, static_cast<std::size_t>(len));
        return offered.size() <= 1000 ? 0 : len;
    };
    EXPECT_EQ(stage.send("hi"), 2);
    ASSERT_EQ(offered.size(), 1001U);
    EXPECT_EQ(offered.front(), offered.back());
}

TEST_F(BlockingSend, socketAndFlagsReachEachWriteUnchanged) {
    stage.lower->onSend = [&](SOCKET s, const char*, int len, int flags) {
        EXPECT_EQ(s, SOCKET{99});
        EXPECT_EQ(flags, 0x40);
        return len;
    };
    EXPECT_EQ(stage.strategy->send(99, "hello", 5, 0x40), 5);
}

TEST_F(BlockingSend, failedWriteGivesNoPartialSuccessAndKeepsTheErrorCode) {
    stage.lower->onSend = [&](SOCKET, const char*, int len, int) {
        if (stage.lowerCalls("send") == 1) {
            return len;
        }
        stage.platform.lastError = WSAEWOULDBLOCK;
        return SOCKET_ERROR;
    };
    EXPECT_EQ(stage.send(std::string(200, 'x')), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEWOULDBLOCK);
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_TRUE(stage.log.lines.empty());
}

TEST_F(BlockingSend, failedEncryptionIsAnErrorWithoutACode) {
    for (const SECURITY_STATUS failing : {SEC_E_ENCRYPT_FAILURE, SEC_I_CONTEXT_EXPIRED}) {
        stage.forget();
        stage.cipher.encryptStatus = failing;
        EXPECT_EQ(stage.send("hello"), SOCKET_ERROR);
        EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
        EXPECT_EQ(stage.platformCalls("DebugBreak"), 0);
        EXPECT_TRUE(stage.lower->calls.empty());
        ASSERT_EQ(stage.log.lines.size(), 1U);
        EXPECT_EQ(stage.log.lines[0].severity, Severity::Error);
    }
}

TEST_F(BlockingSend, negativeLengthIsRefused) {
    EXPECT_EQ(stage.strategy->send(7, "x", -1, 0), SOCKET_ERROR);
    EXPECT_EQ(stage.platform.lastError, WSAEINVAL);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"send called with a negative length"}}));
    EXPECT_TRUE(stage.lower->calls.empty());
}

template <typename Exception>
void failEncryption(test::SecureStage<>& stage, Exception exception) {
    stage.platform.EncryptMessage = [exception](auto...) -> SECURITY_STATUS { throw exception; };
}

TEST_F(BlockingSend, runtimeErrorIsLoggedWithoutASpace) {
    failEncryption(stage, std::runtime_error("toy"));
    EXPECT_EQ(stage.send("hello"), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines,
              (std::vector<LogLine>{{Severity::Error, L"Can't send encrypted messagetoy"}}));
    EXPECT_EQ(stage.platformCalls("WSASetLastError"), 0);
    EXPECT_EQ(stage.platformCalls("shutdown"), 0);
    EXPECT_EQ(stage.strategy->socket, test::SecureStage<>::connection);
}

TEST_F(BlockingSend, exhaustedMemoryIsLogged) {
    failEncryption(stage, std::bad_alloc());
    EXPECT_EQ(stage.send("hello"), SOCKET_ERROR);
    EXPECT_EQ(stage.log.lines, (std::vector<LogLine>{test::outOfMemoryLine()}));
}

TEST_F(BlockingSend, otherExceptionIsLogged) {
    failEncryption(stage, std::logic_error("odd"));
    EXPECT_EQ(stage.send("hello"), SOCKET_ERROR);
    EXPECT_EQ(
        stage.log.lines,
        (std::vector<LogLine>{
            {Severity::Error, L"An unexpected C++ standard library exception occurred: odd"}}));
}

} // namespace
} // namespace VexaSsl
