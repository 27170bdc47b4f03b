#include "tampering/Wire.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace VexaSsl::test {

// The plain strategy with a turn of the counterpart before each wait.
class WireStrategy : public UnsecureSocketStrategy {
public:
    WireStrategy(ILog& sink, Wire& owner) : UnsecureSocketStrategy(sink), wire(owner) {}

    int send(SOCKET s, const char* buf, int len, int flags) noexcept override {
        const int count = UnsecureSocketStrategy::send(s, buf, wire.allowedToSend(len), flags);
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
        wire.acceptFarEnd();
        return result;
    }

    SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) noexcept override {
        const SOCKET accepted = UnsecureSocketStrategy::accept(s, addr, addrlen);
        wire.nearEnd = HostSocket(accepted);
        wire.limitStackEnd();
        return accepted;
    }

    // Polling gives the counterpart no turn.
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

// Resets the connection, so that thousands of them leave no sockets in TIME_WAIT.
Wire::~Wire() {
    if (farEnd.handle() != INVALID_SOCKET) {
        resetAtClose(farEnd.handle());
        farEnd.close();
    }
}

std::unique_ptr<ISocketStrategy> Wire::strategy(ILog& log) {
    return std::make_unique<WireStrategy>(log, *this);
}

SOCKET Wire::makeNearEnd() {
    nearEnd = makeSocket();
    limitStackEnd();
    return nearEnd.handle();
}

void Wire::limitStackEnd() const {
    setTimeouts(nearEnd.handle());
    if (receiveMilliseconds) {
        limitReceiving(nearEnd.handle(), *receiveMilliseconds);
    }
}

int Wire::allowedToSend(int wanted) {
    if (!resetAfterSent || left) {
        return wanted;
    }
    const std::size_t rest = *resetAfterSent - sent;
    if (rest == 0) {
        endWith(Ending::reset);
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
    if (move.ending || move.bytes.empty()) {
        endWith(move.ending.value_or(Ending::close));
    }
}

Bytes Wire::collect() {
    Bytes bytes(sent - collected);
    for (std::size_t got = 0; got < bytes.size();) {
        const int count = receiveBytes(farEnd.handle(), reinterpret_cast<char*>(bytes.data()) + got,
                                       bytes.size() - got);
        if (count <= 0) {
            throw std::runtime_error("the bytes of the stack do not arrive");
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
            throw std::runtime_error("the counterpart cannot send");
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
        delivered += static_cast<std::size_t>(count);
    }
}

void Wire::endWith(Ending ending) {
    left = true;
    if (ending == Ending::close) {
        platform::shutdown(farEnd.handle(), SD_SEND);
    } else if (ending == Ending::reset) {
        resetAtClose(farEnd.handle());
        farEnd.close();
        awaitReset(nearEnd.handle());
    }
}

} // namespace VexaSsl::test
