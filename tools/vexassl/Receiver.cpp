#include "Receiver.h"

#include "OwnedEvent.h"

namespace VexaSsl::tool {

namespace {

class BlockingReceiver : public Receiver {
public:
    BlockingReceiver(ISocketStrategy& borrowedStrategy, SOCKET s)
        : strategy(borrowedStrategy), socket(s) {}

    int receive(char* buffer, int size) override { return strategy.recv(socket, buffer, size, 0); }

private:
    ISocketStrategy& strategy;
    SOCKET socket;
};

class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& borrowedStrategy, SOCKET s)
        : strategy(borrowedStrategy), socket(s) {}

    int receive(char* buffer, int size) override {
        if (mayHoldMore && isReadable()) {
            return noteFilling(strategy.recv(socket, buffer, size, 0), size);
        }
        while (true) {
            DWORD count = 0;
            bool isEnd = false;
            if (!receiveOnce(buffer, size, count, isEnd)) {
                return -1;
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
        mayHoldMore = count == size;
        return count;
    }

    bool isReadable() {
        fd_set readable{};
        platform::socketSetAdd(socket, readable);
        const timeval atOnce{};
        return strategy.select(0, &readable, nullptr, nullptr, &atOnce) > 0;
    }

    ISocketStrategy& strategy;
    SOCKET socket;
    OwnedEvent event;
    bool mayHoldMore = false;
};

} // namespace

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET s) {
    return std::make_unique<BlockingReceiver>(strategy, s);
}

std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET s) {
    return std::make_unique<OverlappedReceiver>(strategy, s);
}

} // namespace VexaSsl::tool
