#include "strategies/UnsecureSocketStrategy.h"

#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

namespace VexaSsl {
namespace {

constexpr SOCKET socketNumber = 7;
constexpr int failure = 10099;

class UnsecureStrategy : public testing::Test {
protected:
    // Only the call of that name ran, and its last error stands.
    void expectOnly(const char* name) {
        EXPECT_EQ(platform.calls, (std::vector<std::string>{name}));
        EXPECT_EQ(platform.lastError, failure);
        EXPECT_TRUE(log.lines.empty());
    }
    int fail() {
        platform.lastError = failure;
        return SOCKET_ERROR;
    }

    test::ScriptedPlatform platform;
    test::CollectingLog log;
    UnsecureSocketStrategy strategy{log};
    sockaddr address{};
    int length = 16;
    WSABUF buffers[2]{};
    DWORD bytes = 0;
    DWORD flags = 0;
    WSAOVERLAPPED state{};
    char data[8] = {};
};

TEST_F(UnsecureStrategy, sendIsTheSystems) {
    platform.send = [this](SOCKET s, const char* buf, int len, int f) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 8);
        EXPECT_EQ(f, 4);
        return fail();
    };
    EXPECT_EQ(strategy.send(socketNumber, data, 8, 4), SOCKET_ERROR);
    expectOnly("send");
}

TEST_F(UnsecureStrategy, recvIsTheSystems) {
    platform.recv = [this](SOCKET s, char* buf, int len, int f) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(buf, data);
        EXPECT_EQ(len, 8);
        EXPECT_EQ(f, msgPeek);
        return fail();
    };
    EXPECT_EQ(strategy.recv(socketNumber, data, 8, msgPeek), SOCKET_ERROR);
    expectOnly("recv");
}

TEST_F(UnsecureStrategy, negativeLengthAndNullBufferReachTheSystem) {
    platform.send = [this](SOCKET, const char* buf, int len, int) {
        EXPECT_EQ(buf, nullptr);
        EXPECT_EQ(len, -1);
        return fail();
    };
    platform.recv = [this](SOCKET, char* buf, int len, int) {
        EXPECT_EQ(buf, nullptr);
        EXPECT_EQ(len, -1);
        return fail();
    };
    EXPECT_EQ(strategy.send(socketNumber, nullptr, -1, 0), SOCKET_ERROR);
    EXPECT_EQ(strategy.recv(socketNumber, nullptr, -1, 0), SOCKET_ERROR);
}

TEST_F(UnsecureStrategy, connectIsTheSystems) {
    platform.connect = [this](SOCKET s, const sockaddr* name, int namelen) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(namelen, 16);
        return fail();
    };
    EXPECT_EQ(strategy.connect(socketNumber, &address, 16), SOCKET_ERROR);
    expectOnly("connect");
}

TEST_F(UnsecureStrategy, acceptIsTheSystems) {
    platform.accept = [this](SOCKET s, sockaddr* addr, int* addrlen) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(addr, &address);
        EXPECT_EQ(addrlen, &length);
        fail();
        return INVALID_SOCKET;
    };
    EXPECT_EQ(strategy.accept(socketNumber, &address, &length), INVALID_SOCKET);
    expectOnly("accept");
}

TEST_F(UnsecureStrategy, selectIsTheSystems) {
    fd_set sets[3]{};
    const timeval time{};
    platform.select = [&](int nfds, fd_set* r, fd_set* w, fd_set* e, const timeval* t) {
        EXPECT_EQ(nfds, 5);
        EXPECT_EQ(r, &sets[0]);
        EXPECT_EQ(w, &sets[1]);
        EXPECT_EQ(e, &sets[2]);
        EXPECT_EQ(t, &time);
        return fail();
    };
    EXPECT_EQ(strategy.select(5, &sets[0], &sets[1], &sets[2], &time), SOCKET_ERROR);
    expectOnly("select");
}

TEST_F(UnsecureStrategy, getaddrinfoIsTheSystems) {
    const addrinfo hints{};
    addrinfo* list = nullptr;
    platform.getaddrinfo = [&](const char* node, const char* service, const addrinfo* h,
                               addrinfo** l) {
        EXPECT_STREQ(node, "node");
        EXPECT_STREQ(service, "service");
        EXPECT_EQ(h, &hints);
        EXPECT_EQ(l, &list);
        fail();
        return WSAHOST_NOT_FOUND;
    };
    EXPECT_EQ(strategy.getaddrinfo("node", "service", &hints, &list), WSAHOST_NOT_FOUND);
    expectOnly("getaddrinfo");
}

TEST_F(UnsecureStrategy, nullNodeNameReachesTheSystem) {
    platform.getaddrinfo = [](const char* node, const char*, const addrinfo*, addrinfo**) {
        EXPECT_EQ(node, nullptr);
        return 0;
    };
    EXPECT_EQ(strategy.getaddrinfo(nullptr, "service", nullptr, nullptr), 0);
}

TEST_F(UnsecureStrategy, wideLookupIsTheSystems) {
    const ADDRINFOW hints{};
    ADDRINFOW* list = nullptr;
    platform.GetAddrInfoW = [&](const wchar_t* node, const wchar_t* service, const ADDRINFOW* h,
                                ADDRINFOW** l) {
        EXPECT_STREQ(node, L"node");
        EXPECT_STREQ(service, L"service");
        EXPECT_EQ(h, &hints);
        EXPECT_EQ(l, &list);
        fail();
        return WSAHOST_NOT_FOUND;
    };
    EXPECT_EQ(strategy.GetAddrInfoW(L"node", L"service", &hints, &list), WSAHOST_NOT_FOUND);
    expectOnly("GetAddrInfoW");
}

TEST_F(UnsecureStrategy, acceptExIsTheSystems) {
    platform.AcceptEx = [this](SOCKET listener, SOCKET accepted, void* output, DWORD initial,
                               DWORD local, DWORD remote, DWORD* received, OVERLAPPED* o) {
        EXPECT_EQ(listener, SOCKET{3});
        EXPECT_EQ(accepted, socketNumber);
        EXPECT_EQ(output, data);
        EXPECT_EQ(initial, 1U);
        EXPECT_EQ(local, 2U);
        EXPECT_EQ(remote, 3U);
        EXPECT_EQ(received, &bytes);
        EXPECT_EQ(o, &state);
        fail();
        return FALSE;
    };
    EXPECT_EQ(strategy.AcceptEx(3, socketNumber, data, 1, 2, 3, &bytes, &state), FALSE);
    expectOnly("AcceptEx");
}

int neverAsked(WSABUF*, WSABUF*, QOS*, QOS*, WSABUF*, WSABUF*, GROUP*, DWORD_PTR) {
    return CF_REJECT;
}

TEST_F(UnsecureStrategy, wsaAcceptIsTheSystems) {
    platform.WSAAccept = [this](SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                                DWORD_PTR callbackData) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(addr, &address);
        EXPECT_EQ(addrlen, &length);
        EXPECT_EQ(condition, neverAsked);
        EXPECT_EQ(callbackData, DWORD_PTR{99});
        fail();
        return INVALID_SOCKET;
    };
    EXPECT_EQ(strategy.WSAAccept(socketNumber, &address, &length, neverAsked, 99), INVALID_SOCKET);
    expectOnly("WSAAccept");
}

void neverRun(DWORD, DWORD, WSAOVERLAPPED*, DWORD) {}

TEST_F(UnsecureStrategy, wsaSendIsTheSystems) {
    platform.WSASend = [this](SOCKET s, WSABUF* b, DWORD count, DWORD* sent, DWORD f,
                              WSAOVERLAPPED* o, LPWSAOVERLAPPED_COMPLETION_ROUTINE r) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(b, buffers);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(sent, &bytes);
        EXPECT_EQ(f, 4U);
        EXPECT_EQ(o, &state);
        EXPECT_EQ(r, neverRun);
        return fail();
    };
    EXPECT_EQ(strategy.WSASend(socketNumber, buffers, 2, &bytes, 4, &state, neverRun),
              SOCKET_ERROR);
    expectOnly("WSASend");
}

TEST_F(UnsecureStrategy, wsaRecvIsTheSystems) {
    platform.WSARecv = [this](SOCKET s, WSABUF* b, DWORD count, DWORD* received, DWORD* f,
                              WSAOVERLAPPED* o, LPWSAOVERLAPPED_COMPLETION_ROUTINE r) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(b, buffers);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(received, &bytes);
        EXPECT_EQ(f, &flags);
        EXPECT_EQ(o, &state);
        EXPECT_EQ(r, neverRun);
        return fail();
    };
    EXPECT_EQ(strategy.WSARecv(socketNumber, buffers, 2, &bytes, &flags, &state, neverRun),
              SOCKET_ERROR);
    expectOnly("WSARecv");
}

TEST_F(UnsecureStrategy, wsaConnectIsTheSystems) {
    QOS qos[2]{};
    platform.WSAConnect = [&](SOCKET s, const sockaddr* name, int namelen, WSABUF* caller,
                              WSABUF* callee, QOS* sqos, QOS* gqos) {
        EXPECT_EQ(s, socketNumber);
        EXPECT_EQ(name, &address);
        EXPECT_EQ(namelen, 16);
        EXPECT_EQ(caller, &buffers[0]);
        EXPECT_EQ(callee, &buffers[1]);
        EXPECT_EQ(sqos, &qos[0]);
        EXPECT_EQ(gqos, &qos[1]);
        return fail();
    };
    EXPECT_EQ(
        strategy.WSAConnect(socketNumber, &address, 16, &buffers[0], &buffers[1], &qos[0], &qos[1]),
        SOCKET_ERROR);
    expectOnly("WSAConnect");
}

TEST_F(UnsecureStrategy, completeAcceptExGivesZeroAlsoWithoutAcceptEx) {
    EXPECT_EQ(strategy.completeAcceptEx(), 0);
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(UnsecureStrategy, completeWSARecvGivesZeroAndLeavesTheCount) {
    bytes = 4711;
    EXPECT_EQ(strategy.completeWSARecv(-1, &bytes, nullptr), 0);
    EXPECT_EQ(bytes, 4711U);
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(UnsecureStrategy, completeWSARecvDoesNotReadTheCount) {
    EXPECT_EQ(strategy.completeWSARecv(0, nullptr, nullptr), 0);
}

} // namespace
} // namespace VexaSsl
