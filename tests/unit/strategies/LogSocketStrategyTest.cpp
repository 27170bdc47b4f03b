#include "strategies/LogSocketStrategy.h"

#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/ScriptedStrategy.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

using test::LogLine;

constexpr SOCKET socketNumber = 7;
constexpr int answer = 4711;

class LogLayer : public testing::Test {
protected:
    LogLayer() {
        auto below = std::make_unique<test::ScriptedStrategy>();
        lower = below.get();
        layer = std::make_unique<LogSocketStrategy>(log, std::move(below), L"Layer");
    }
    void expectOneLine(const std::wstring& text) {
        EXPECT_EQ(log.lines, (std::vector<LogLine>{{Severity::Debug, text}}));
    }
    void expectSilentCallOf(const char* name) {
        EXPECT_EQ(lower->calls, (std::vector<std::string>{name}));
        EXPECT_TRUE(log.lines.empty());
    }

    test::ThresholdLog log;
    test::ScriptedStrategy* lower = nullptr;
    std::unique_ptr<LogSocketStrategy> layer;
    char data[8] = {};
    sockaddr address{};
    int length = 16;
    DWORD bytes = 0;
    DWORD flags = 0;
    WSAOVERLAPPED state{};
};

void neverRun(DWORD, DWORD, WSAOVERLAPPED*, DWORD) {}

TEST_F(LogLayer, sendLogsTheSizeBeforeItForwards) {
    lower->onSend = [&](SOCKET s, const char* buf, int len, int f) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 8);
        EXPECT_EQ(f, 4);
        EXPECT_EQ(log.lines.size(), 1U);
        return answer;
    };
    EXPECT_EQ(layer->send(socketNumber, data, 8, 4), answer);
    expectOneLine(L"Layer using socket [7] to send [8] byte message");
}

TEST_F(LogLayer, negativeLengthIsLoggedAndForwarded) {
    lower->onSend = [](SOCKET, const char*, int len, int) {
        EXPECT_EQ(len, -1);
        return SOCKET_ERROR;
    };
    EXPECT_EQ(layer->send(socketNumber, data, -1, 0), SOCKET_ERROR);
    expectOneLine(L"Layer using socket [7] to send [-1] byte message");
}

TEST_F(LogLayer, recvLogsTheSizeOfTheBuffer) {
    lower->onRecv = [&](SOCKET s, char* buf, int len, int f) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 1024);
        EXPECT_EQ(f, msgPeek);
        EXPECT_EQ(log.lines.size(), 1U);
        return 10;
    };
    EXPECT_EQ(layer->recv(socketNumber, data, 1024, msgPeek), 10);
    expectOneLine(L"Layer using socket [7] to recv [1024] byte message");
}

TEST_F(LogLayer, socketIsAnUnsignedNumber) {
    lower->onRecv = [](auto...) { return SOCKET_ERROR; };
    layer->recv(INVALID_SOCKET, data, 8, 0);
    expectOneLine(L"Layer using socket [18446744073709551615] to recv [8] byte message");
}

TEST_F(LogLayer, wsaSendLogsTheSumAndForwardsTheCallersArray) {
    WSABUF buffers[2] = {{3, data}, {5, data}};
    lower->onWSASend = [&](SOCKET s, WSABUF* b, DWORD count, DWORD* sent, DWORD f, WSAOVERLAPPED* o,
                           LPWSAOVERLAPPED_COMPLETION_ROUTINE r) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(b, buffers);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(sent, &bytes);
        EXPECT_EQ(f, 4U);
        EXPECT_EQ(o, &state);
        EXPECT_EQ(r, neverRun);
        EXPECT_EQ(log.lines.size(), 1U);
        return answer;
    };
    EXPECT_EQ(layer->WSASend(socketNumber, buffers, 2, &bytes, 4, &state, neverRun), answer);
    expectOneLine(L"Layer using socket [7] to WSASend [8] byte message");
}

TEST_F(LogLayer, wsaSendWithoutBuffersLogsZeroAndForwards) {
    lower->onWSASend = [](auto...) { return answer; };
    EXPECT_EQ(layer->WSASend(socketNumber, nullptr, 0, &bytes, 0, nullptr, nullptr), answer);
    expectOneLine(L"Layer using socket [7] to WSASend [0] byte message");
}

TEST_F(LogLayer, sumOfBuffersWrapsAt32Bits) {
    WSABUF buffers[2] = {{4294967295U, data}, {2, data}};
    lower->onWSASend = [](auto...) { return 0; };
    layer->WSASend(socketNumber, buffers, 2, &bytes, 0, nullptr, nullptr);
    expectOneLine(L"Layer using socket [7] to WSASend [1] byte message");
}

TEST_F(LogLayer, wsaRecvIsSilentAndItsSocketIsLoggedAtTheCompletion) {
    WSABUF buffers[2] = {{3, data}, {5, data}};
    lower->onWSARecv = [&](SOCKET s, WSABUF* b, DWORD count, DWORD* received, DWORD* f,
                           WSAOVERLAPPED* o, LPWSAOVERLAPPED_COMPLETION_ROUTINE r) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(b, buffers);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(received, &bytes);
        EXPECT_EQ(f, &flags);
        EXPECT_EQ(o, &state);
        EXPECT_EQ(r, neverRun);
        return answer;
    };
    EXPECT_EQ(layer->WSARecv(socketNumber, buffers, 2, &bytes, &flags, &state, neverRun), answer);
    EXPECT_TRUE(log.lines.empty());
    bytes = 33;
    lower->onCompleteWSARecv = [&](int status, DWORD* transferred, void* context) {
        EXPECT_EQ(status, -5);
        EXPECT_EQ(transferred, &bytes);
        EXPECT_EQ(context, this);
        EXPECT_EQ(log.lines.size(), 1U);
        *transferred = 5; // the line has the count on entry, not this one
        return answer;
    };
    EXPECT_EQ(layer->completeWSARecv(-5, &bytes, this), answer);
    EXPECT_EQ(bytes, 5U);
    expectOneLine(L"Layer used socket [7] to WSARecv [33] byte message");
}

TEST_F(LogLayer, completionDuringTheReceiveHasItsSocket) {
    lower->onCompleteWSARecv = [](auto...) { return 0; };
    lower->onWSARecv = [&](auto...) { return layer->completeWSARecv(0, &bytes, nullptr); };
    layer->WSARecv(socketNumber, nullptr, 0, &bytes, &flags, &state, neverRun);
    expectOneLine(L"Layer used socket [7] to WSARecv [0] byte message");
}

TEST_F(LogLayer, completionBeforeAnyReceiveLogsNoSocket) {
    lower->onCompleteWSARecv = [](auto...) { return 0; };
    bytes = 4294967295U;
    layer->completeWSARecv(0, &bytes, nullptr);
    expectOneLine(L"Layer used socket [18446744073709551615] to WSARecv [4294967295] byte message");
}

TEST_F(LogLayer, connectIsSilent) {
    lower->onConnect = [&](SOCKET s, const sockaddr* name, int namelen) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(namelen, 16);
        return answer;
    };
    EXPECT_EQ(layer->connect(socketNumber, &address, 16), answer);
    expectSilentCallOf("connect");
}

TEST_F(LogLayer, acceptIsSilent) {
    lower->onAccept = [&](SOCKET s, sockaddr* addr, int* addrlen) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(addr, &address);
        EXPECT_EQ(addrlen, &length);
        return SOCKET{9};
    };
    EXPECT_EQ(layer->accept(socketNumber, &address, &length), SOCKET{9});
    expectSilentCallOf("accept");
}

TEST_F(LogLayer, selectIsSilent) {
    fd_set sets[3]{};
    const timeval time{};
    lower->onSelect = [&](int nfds, fd_set* r, fd_set* w, fd_set* e, const timeval* t) {
        EXPECT_EQ(nfds, 5);
        EXPECT_EQ(r, &sets[0]);
        EXPECT_EQ(w, &sets[1]);
        EXPECT_EQ(e, &sets[2]);
        EXPECT_EQ(t, &time);
        return answer;
    };
    EXPECT_EQ(layer->select(5, &sets[0], &sets[1], &sets[2], &time), answer);
    expectSilentCallOf("select");
}

TEST_F(LogLayer, getaddrinfoIsSilent) {
    addrinfo hints{};
    addrinfo* list = nullptr;
    lower->onGetaddrinfo = [&](const char* node, const char* service, const addrinfo* h,
                               addrinfo** l) {
        EXPECT_EQ(node, nullptr);
        EXPECT_STREQ(service, "service");
        EXPECT_EQ(h, &hints);
        EXPECT_EQ(l, &list);
        return answer;
    };
    EXPECT_EQ(layer->getaddrinfo(nullptr, "service", &hints, &list), answer);
    expectSilentCallOf("getaddrinfo");
}

TEST_F(LogLayer, wideLookupIsSilent) {
    ADDRINFOW hints{};
    ADDRINFOW* list = nullptr;
    lower->onGetAddrInfoW = [&](const wchar_t* node, const wchar_t* service, const ADDRINFOW* h,
                                ADDRINFOW** l) {
        EXPECT_STREQ(node, L"node");
        EXPECT_EQ(service, nullptr);
        EXPECT_EQ(h, &hints);
        EXPECT_EQ(l, &list);
        return answer;
    };
    EXPECT_EQ(layer->GetAddrInfoW(L"node", nullptr, &hints, &list), answer);
    expectSilentCallOf("GetAddrInfoW");
}

TEST_F(LogLayer, acceptExIsSilent) {
    lower->onAcceptEx = [&](SOCKET listener, SOCKET accepted, void* output, DWORD initial,
                            DWORD local, DWORD remote, DWORD* received, OVERLAPPED* o) {
        EXPECT_EQ(listener, SOCKET{3});
        EXPECT_EQ(accepted, socketNumber);
        EXPECT_EQ(output, data);
        EXPECT_EQ(initial, 1U);
        EXPECT_EQ(local, 2U);
        EXPECT_EQ(remote, 3U);
        EXPECT_EQ(received, &bytes);
        EXPECT_EQ(o, &state);
        return TRUE;
    };
    EXPECT_EQ(layer->AcceptEx(3, socketNumber, data, 1, 2, 3, &bytes, &state), TRUE);
    expectSilentCallOf("AcceptEx");
}

TEST_F(LogLayer, completeAcceptExIsSilent) {
    lower->onCompleteAcceptEx = [] { return answer; };
    EXPECT_EQ(layer->completeAcceptEx(), answer);
    expectSilentCallOf("completeAcceptEx");
}

TEST_F(LogLayer, wsaAcceptIsSilent) {
    lower->onWSAAccept = [&](SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                             DWORD_PTR callbackData) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(addr, &address);
        EXPECT_EQ(addrlen, &length);
        EXPECT_EQ(condition, nullptr);
        EXPECT_EQ(callbackData, DWORD_PTR{99});
        return SOCKET{9};
    };
    EXPECT_EQ(layer->WSAAccept(socketNumber, &address, &length, nullptr, 99), SOCKET{9});
    expectSilentCallOf("WSAAccept");
}

TEST_F(LogLayer, wsaConnectIsSilent) {
    WSABUF buffers[2]{};
    QOS qos[2]{};
    lower->onWSAConnect = [&](SOCKET s, const sockaddr* name, int namelen, WSABUF* caller,
                              WSABUF* callee, QOS* sqos, QOS* gqos) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(namelen, 16);
        EXPECT_EQ(caller, &buffers[0]);
        EXPECT_EQ(callee, &buffers[1]);
        EXPECT_EQ(sqos, &qos[0]);
        EXPECT_EQ(gqos, &qos[1]);
        return answer;
    };
    EXPECT_EQ(
        layer->WSAConnect(socketNumber, &address, 16, &buffers[0], &buffers[1], &qos[0], &qos[1]),
        answer);
    expectSilentCallOf("WSAConnect");
}

TEST_F(LogLayer, thresholdInfoDropsTheLines) {
    log.setMinimumSeverity(Severity::Info);
    lower->onSend = [](auto...) { return answer; };
    lower->onRecv = [](auto...) { return SOCKET_ERROR; };
    EXPECT_EQ(layer->send(socketNumber, data, 8, 0), answer);
    EXPECT_EQ(layer->recv(socketNumber, data, 8, 0), SOCKET_ERROR);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LogLayer, lastErrorIsThatOfTheForwardedCall) {
    test::ScriptedPlatform platform;
    const auto fail = [&](auto...) {
        platform.lastError = WSAECONNRESET;
        return SOCKET_ERROR;
    };
    lower->onSend = fail;
    lower->onRecv = fail;
    lower->onWSASend = fail;
    lower->onWSARecv = fail;
    lower->onCompleteWSARecv = fail;
    const auto expectItsError = [&](int result) {
        EXPECT_EQ(result, SOCKET_ERROR);
        EXPECT_EQ(platform.lastError, WSAECONNRESET);
        platform.lastError = 0;
    };
    expectItsError(layer->send(socketNumber, data, 8, 0));
    expectItsError(layer->recv(socketNumber, data, 8, 0));
    expectItsError(layer->WSASend(socketNumber, nullptr, 0, &bytes, 0, nullptr, nullptr));
    expectItsError(layer->WSARecv(socketNumber, nullptr, 0, &bytes, &flags, &state, nullptr));
    expectItsError(layer->completeWSARecv(0, &bytes, nullptr));
    EXPECT_TRUE(platform.calls.empty()) << "the layer itself calls nothing";
}

TEST_F(LogLayer, ownsTheStrategyBelow) {
    bool destroyed = false;
    lower->onDestroyed = [&] { destroyed = true; };
    layer.reset();
    EXPECT_TRUE(destroyed);
}

} // namespace
} // namespace VexaSsl
