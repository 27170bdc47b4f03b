#include "tampering/Wire.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace VexaSsl::test {

// Does what the plain strategy does, with a turn of the counterpart before each wait.
class WireStrategy : public UnsecureSocketStrategy {
public:
    WireStrategy(ILog& sink, Wire& owner) : UnsecureSocketStrategy(sink), wire(owner) {}

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override {
        const int count = UnsecureSocketStrategy::send(s, buf, wire.admit(len), flags);
        wire.sent += static_cast<std::size_t>(std::max(count, 0));
        return count;
    }

    int recv(SOCKET s, char* buf, int len, int flags) noexcept override {
        wire.takeTurn();
        const int count = UnsecureSocketStrategy::recv(s, buf, len, flags);
        wire.received += static_cast<std::size_t>(std::max(count, 0));
        return count;
    }

    int connect(SOCKET s, const sockaddr* name, int namelen) noexcept override {
        const int result = UnsecureSocketStrategy::connect(s, name, namelen);
        wire.meetCaller();
        return result;
    }

    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override {
        const SOCKET accepted = UnsecureSocketStrategy::accept(s, addr, addrlen);
        wire.nearEnd = HostSocket(accepted);
        wire.limitStackEnd();
        return accepted;
    }

    // A look without waiting gives the counterpart no turn.
    int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
               const timeval* timeout) noexcept override {
        if (timeout == nullptr || timeout->tv_sec != 0 || timeout->tv_usec != 0) {
            wire.takeTurn();
        }
        return UnsecureSocketStrategy::select(nfds, readfds, writefds, exceptfds, timeout);
    }

    int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
                WSAOVERLAPPED* overlapped,
                LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) noexcept override {
        wire.takeTurn();
        return UnsecureSocketStrategy::WSARecv(s, buffers, bufferCount, bytesReceived, flags,
                                               overlapped, completionRoutine);
    }

private:
    Wire& wire;
};

// Reset, so that thousands of connections leave nothing behind in the system.
Wire::~Wire() {
    if (farEnd.handle() != INVALID_SOCKET) {
        resetAtClose(farEnd.handle());
        farEnd.close();
    }
}

std::unique_ptr<ISocketStrategy> Wire::strategy(ILog& log) {
    return std::make_unique<WireStrategy>(log, *this);
}

SOCKET Wire::makeCaller() {
    nearEnd = makeSocket();
    limitStackEnd();
    return nearEnd.handle();
}

void Wire::limitStackEnd() const {
    limitWaiting(nearEnd.handle());
    if (receiveMilliseconds) {
        limitReceiving(nearEnd.handle(), *receiveMilliseconds);
    }
}

int Wire::admit(int wanted) {
    if (!resetBehindSent || left) {
        return wanted;
    }
    const std::size_t rest = *resetBehindSent - sent;
    if (rest == 0) {
        leave(Farewell::reset);
        return wanted;
    }
    return static_cast<int>(std::min(static_cast<std::size_t>(wanted), rest));
}

void Wire::takeTurn() {
    if (left || delivered > received) {
        return;
    }
    const Move move = turn(collect());
    sendNow(move.bytes);
    if (move.farewell || move.bytes.empty()) {
        leave(move.farewell.value_or(Farewell::close));
    }
}

Bytes Wire::collect() {
    Bytes bytes(sent - collected);
    for (std::size_t got = 0; got < bytes.size();) {
        const int count = receiveBytes(farEnd.handle(), reinterpret_cast<char*>(bytes.data()) + got,
                                       bytes.size() - got);
        if (count <= 0) {
            throw std::runtime_error("what the stack has sent doesn't arrive");
        }
        got += static_cast<std::size_t>(count);
    }
    collected = sent;
    return bytes;
}

void Wire::sendNow(const Bytes& bytes) {
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    while (!rest.empty()) {
        const int count = sendBytes(farEnd.handle(), rest);
        if (count <= 0) {
            throw std::runtime_error("the counterpart can't send");
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
        delivered += static_cast<std::size_t>(count);
    }
}

void Wire::leave(Farewell farewell) {
    left = true;
    if (farewell == Farewell::close) {
        platform::shutdown(farEnd.handle(), SD_SEND);
    } else if (farewell == Farewell::reset) {
        resetAtClose(farEnd.handle());
        farEnd.close();
        awaitReset(nearEnd.handle());
    }
}

} // namespace VexaSsl::test
