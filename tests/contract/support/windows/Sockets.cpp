#include "contract/sockets/Loopback.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

// The host starts Winsock before its first call.
class Winsock : public ::testing::Environment {
public:
    void SetUp() override {
        WSADATA data{};
        ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    }
    void TearDown() override { WSACleanup(); }
};

const ::testing::Environment* const winsock = ::testing::AddGlobalTestEnvironment(new Winsock);

template <class Value>
void setOption(const Socket& socket, int option, const Value& value) {
    ::setsockopt(socket.get(), SOL_SOCKET, option, reinterpret_cast<const char*>(&value),
                 sizeof(value));
}

} // namespace

sockaddr_in addressOf(const Socket& socket) {
    sockaddr_in address{};
    int length = sizeof(address);
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

bool isConnected(const Socket& socket) {
    sockaddr_in peer{};
    int length = sizeof(peer);
    return ::getpeername(socket.get(), reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

void setReceiveTimeout(const Socket& socket, std::chrono::milliseconds time) {
    setOption(socket, SO_RCVTIMEO, static_cast<DWORD>(time.count()));
}

void setSendTimeout(const Socket& socket, std::chrono::milliseconds time) {
    setOption(socket, SO_SNDTIMEO, static_cast<DWORD>(time.count()));
}

void setNonBlocking(const Socket& socket) {
    u_long on = 1;
    ::ioctlsocket(socket.get(), static_cast<long>(FIONBIO), &on);
}

void resetWhenClosed(const Socket& socket) {
    setOption(socket, SO_LINGER, linger{1, 0});
}

AcceptedAddresses addressesIn(std::string& output, DWORD dataSize, DWORD area) {
    sockaddr* local = nullptr;
    sockaddr* remote = nullptr;
    int localSize = 0;
    int remoteSize = 0;
    ::GetAcceptExSockaddrs(output.data(), dataSize, area, area, &local, &localSize, &remote,
                           &remoteSize);
    return {*reinterpret_cast<const sockaddr_in*>(local),
            *reinterpret_cast<const sockaddr_in*>(remote)};
}

SOCKET openNonSocket() {
    static const HANDLE file =
        ::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    return reinterpret_cast<SOCKET>(file);
}

std::size_t pairsWithinLimit(std::size_t wanted) {
    constexpr std::size_t enough = 500; // the system has no limit to query
    return std::min(wanted, enough);
}

void endAccepts(Socket& listener) {
    listener.close();
}

// An operation that completes at once may also be reported as pending.
bool startedReady(int posted) {
    return posted == 0 || posted == WSA_IO_PENDING;
}

// Which code is returned depends on whether the cancellation or the connection's end comes first.
bool isAborted(int error) {
    return error == WSA_OPERATION_ABORTED || error == WSAECONNABORTED ||
           error == ERROR_CONNECTION_ABORTED;
}

} // namespace VexaSsl::test
