// In the clear all arguments reach the strategy below unchanged, pointers included, and its result
// is returned.
#include "unit/strategies/OtlsStage.h"

namespace VexaSsl {
namespace {

using Stage = test::OtlsStage;

constexpr SOCKET connection = Stage::connection;
constexpr SOCKET listener = Stage::listener;
constexpr int answer = 4711;

// Only the addresses count: the content must not be read or copied.
struct OtlsArguments : test::OtlsTest {
    sockaddr address{};
    int addressLength = 16;
    WSABUF buffers[2]{};
    DWORD count = 6;
    DWORD flags = 7;
    WSAOVERLAPPED overlapped{};
    LPWSAOVERLAPPED_COMPLETION_ROUTINE const routine =
        reinterpret_cast<LPWSAOVERLAPPED_COMPLETION_ROUTINE>(ULONG_PTR{0x1234});
};

TEST_F(OtlsArguments, connectForwardsItsArguments) {
    stage.lower->onConnect = [this](SOCKET s, const sockaddr* name, int length) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, -16);
        return answer;
    };
    EXPECT_EQ(stage.strategy->connect(connection, &address, -16), answer);
    EXPECT_EQ(stage.lowerCalls("connect"), 1);
}

TEST_F(OtlsArguments, acceptForwardsItsArguments) {
    stage.lower->onAccept = [this](SOCKET s, sockaddr* name, int* length) {
        EXPECT_EQ(s, listener);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, &addressLength);
        return SOCKET{answer};
    };
    EXPECT_EQ(stage.strategy->accept(listener, &address, &addressLength), SOCKET{answer});
    EXPECT_EQ(stage.lowerCalls("accept"), 1);
    EXPECT_EQ(addressLength, 16);
}

TEST_F(OtlsArguments, wsaAcceptForwardsItsArguments) {
    const auto condition = reinterpret_cast<LPCONDITIONPROC>(ULONG_PTR{0x5678});
    stage.lower->onWSAAccept = [=, this](SOCKET s, sockaddr* name, int* length,
                                         LPCONDITIONPROC asked, DWORD_PTR data) {
        EXPECT_EQ(s, listener);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, &addressLength);
        EXPECT_EQ(asked, condition);
        EXPECT_EQ(data, 99U);
        return SOCKET{answer};
    };
    EXPECT_EQ(stage.strategy->WSAAccept(listener, &address, &addressLength, condition, 99),
              SOCKET{answer});
    EXPECT_EQ(stage.lowerCalls("WSAAccept"), 1);
}

TEST_F(OtlsArguments, wsaConnectForwardsItsArguments) {
    QOS* const sending = reinterpret_cast<QOS*>(ULONG_PTR{0x10});
    QOS* const group = reinterpret_cast<QOS*>(ULONG_PTR{0x20});
    stage.lower->onWSAConnect = [=, this](SOCKET s, const sockaddr* name, int length,
                                          WSABUF* callerData, WSABUF* calleeData, QOS* sqos,
                                          QOS* gqos) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(length, 28);
        EXPECT_EQ(callerData, &buffers[0]);
        EXPECT_EQ(calleeData, &buffers[1]);
        EXPECT_EQ(sqos, sending);
        EXPECT_EQ(gqos, group);
        return answer;
    };
    EXPECT_EQ(stage.strategy->WSAConnect(connection, &address, 28, &buffers[0], &buffers[1],
                                         sending, group),
              answer);
    EXPECT_EQ(stage.lowerCalls("WSAConnect"), 1);
}

TEST_F(OtlsArguments, wsaSendForwardsItsArguments) {
    stage.lower->onWSASend = [this](SOCKET s, WSABUF* given, DWORD number, DWORD* sent,
                                    DWORD givenFlags, WSAOVERLAPPED* state,
                                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completion) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(given, buffers);
        EXPECT_EQ(number, 2U);
        EXPECT_EQ(sent, &count);
        EXPECT_EQ(givenFlags, 5U);
        EXPECT_EQ(state, &overlapped);
        EXPECT_EQ(completion, routine);
        return answer;
    };
    EXPECT_EQ(stage.strategy->WSASend(connection, buffers, 2, &count, 5, &overlapped, routine),
              answer);
    EXPECT_EQ(stage.lowerCalls("WSASend"), 1);
}

TEST_F(OtlsArguments, wsaRecvForwardsItsArguments) {
    stage.lower->onWSARecv = [this](SOCKET s, WSABUF* given, DWORD number, DWORD* received,
                                    DWORD* givenFlags, WSAOVERLAPPED* state,
                                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completion) {
        EXPECT_EQ(s, connection);
        EXPECT_EQ(given, buffers);
        EXPECT_EQ(number, 2U);
        EXPECT_EQ(received, &count);
        EXPECT_EQ(givenFlags, &flags);
        EXPECT_EQ(state, &overlapped);
        EXPECT_EQ(completion, routine);
        return answer;
    };
    EXPECT_EQ(stage.strategy->WSARecv(connection, buffers, 2, &count, &flags, &overlapped, routine),
              answer);
    EXPECT_EQ(stage.lowerCalls("WSARecv"), 1);
    EXPECT_EQ(flags, 7U);
}

TEST_F(OtlsArguments, acceptExForwardsItsArguments) {
    char output[4]{};
    stage.lower->onAcceptEx = [&, this](SOCKET listening, SOCKET accepting, void* given,
                                        DWORD initial, DWORD local, DWORD remote, DWORD* received,
                                        OVERLAPPED* state) {
        EXPECT_EQ(listening, listener);
        EXPECT_EQ(accepting, connection);
        EXPECT_EQ(given, output);
        EXPECT_EQ(initial, 1U);
        EXPECT_EQ(local, 2U);
        EXPECT_EQ(remote, 3U);
        EXPECT_EQ(received, &count);
        EXPECT_EQ(state, &overlapped);
        return answer;
    };
    EXPECT_EQ(stage.strategy->AcceptEx(listener, connection, output, 1, 2, 3, &count, &overlapped),
              answer);
    EXPECT_EQ(stage.lowerCalls("AcceptEx"), 1);
}

} // namespace
} // namespace VexaSsl
