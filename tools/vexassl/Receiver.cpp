#include "Receiver.h"

#include "OwnedEvent.h"

namespace VexaSsl::tool {

namespace {

// Whether a recv has something to tell at once: bytes from the network or its end, or what the
// strategy has decrypted and not delivered.
bool isReadable(ISocketStrategy& strategy, SOCKET socket) {
    fd_set readable{};
    platform::socketSetAdd(socket, readable);
    const timeval atOnce{};
    return strategy.select(0, &readable, nullptr, nullptr, &atOnce) > 0;
}

// What came in one read with the peer's closure, before it, is delivered behind the end: the
// receive that meets the closure tells of an end, and one more gives the bytes. Result: as a
// receive; lastResult when there is nothing of that kind.
int receiveBehindEnd(ISocketStrategy& strategy, SOCKET socket, char* buffer, int size,
                     int lastResult) {
    const int error = platform::WSAGetLastError();
    if (isReadable(strategy, socket)) {
        if (const int count = strategy.recv(socket, buffer, size, 0); count > 0) {
            return count;
        }
    }
    platform::WSASetLastError(error);
    return lastResult;
}

class BlockingReceiver : public Receiver {
public:
    BlockingReceiver(ISocketStrategy& borrowedStrategy, SOCKET s, Passing how)
        : strategy(borrowedStrategy), socket(s), passing(how) {}

    int receive(char* buffer, int size) override {
        const int count = strategy.recv(socket, buffer, size, 0);
        const bool isEnd = count == 0 && passing == Passing::AsConfigured;
        return isEnd ? receiveBehindEnd(strategy, socket, buffer, size, count) : count;
    }

private:
    ISocketStrategy& strategy;
    SOCKET socket;
    Passing passing;
};

class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& borrowedStrategy, SOCKET s, Passing how)
        : strategy(borrowedStrategy), socket(s), passing(how) {}

    int receive(char* buffer, int size) override {
        if (mayHoldMore && isReadable(strategy, socket)) {
            return noteFilling(strategy.recv(socket, buffer, size, 0), size);
        }
        while (true) {
            DWORD count = 0;
            bool isEnd = false;
            if (!receiveOnce(buffer, size, count, isEnd)) {
                return passing == Passing::AsConfigured
                           ? receiveBehindEnd(strategy, socket, buffer, size, -1)
                           : -1;
            }
            if (count > 0 || isEnd) {
                return noteFilling(static_cast<int>(count), size);
            }
            // What came is no whole record yet.
        }
    }

private:
    // One receive, from posting it to its application bytes. isEnd: the peer has closed, which
    // only the count of the completion itself tells.
    bool receiveOnce(char* buffer, int size, DWORD& count, bool& isEnd) {
        event.reset();
        WSAOVERLAPPED overlapped{};
        overlapped.hEvent = event.get();
        WSABUF description{};
        description.len = static_cast<ULONG>(size);
        description.buf = buffer;
        DWORD flags = 0;
        DWORD ignored = 0;
        if (strategy.WSARecv(socket, &description, 1, &ignored, &flags, &overlapped, nullptr) ==
                SOCKET_ERROR &&
            platform::WSAGetLastError() != WSA_IO_PENDING) {
            return false;
        }
        if (platform::WSAGetOverlappedResult(socket, &overlapped, &count, TRUE, &flags) == FALSE) {
            return false;
        }
        isEnd = count == 0;
        return strategy.completeWSARecv(0, &count, nullptr) == 0;
    }

    // A full buffer may leave decrypted data behind in the strategy. No completion ever announces
    // that: posting again would wait for the network although the answer to a request may be
    // waiting here, and the peer waits for that answer.
    int noteFilling(int count, int size) {
        mayHoldMore = count == size && passing == Passing::AsConfigured;
        return count;
    }

    ISocketStrategy& strategy;
    SOCKET socket;
    Passing passing;
    OwnedEvent event;
    bool mayHoldMore = false;
};

} // namespace

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET s,
                                               Passing passing) {
    return std::make_unique<BlockingReceiver>(strategy, s, passing);
}

std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET s,
                                                 Passing passing) {
    return std::make_unique<OverlappedReceiver>(strategy, s, passing);
}

} // namespace VexaSsl::tool
