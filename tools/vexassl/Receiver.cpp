#include "Receiver.h"

#include "HostCalls.h"
#include "OwnedEvent.h"

#include <chrono>
#include <memory>
#include <thread>

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
// receive that meets the closure tells of an end, and later ones give the bytes. The network is
// read only where that doesn't wait: a peer may keep the connection open behind its closure.
class EndOfStream {
public:
    EndOfStream(ISocketStrategy& borrowedStrategy, SOCKET s)
        : strategy(borrowedStrategy), socket(s) {}

    bool isReached() const { return reached; }
    // result: of the receive that met the end.
    void reach(int result) {
        reached = true;
        endResult = result;
        endError = platform::WSAGetLastError();
    }
    // Result: the bytes that came before the end, and behind the last of them what the end was.
    int receiveRest(char* buffer, int size) {
        if (isReadable(strategy, socket)) {
            if (const int count = strategy.recv(socket, buffer, size, 0); count > 0) {
                return count;
            }
        }
        platform::WSASetLastError(endError);
        return endResult;
    }

private:
    ISocketStrategy& strategy;
    SOCKET socket;
    bool reached = false;
    int endResult = 0;
    int endError = 0;
};

class BlockingReceiver : public Receiver {
public:
    BlockingReceiver(ISocketStrategy& borrowedStrategy, SOCKET s, Passing how)
        : strategy(borrowedStrategy), socket(s), passing(how), end(strategy, s) {}

    int receive(char* buffer, int size) override {
        if (!end.isReached()) {
            const int count = strategy.recv(socket, buffer, size, 0);
            if (count != 0 || passing == Passing::Clear) {
                return count;
            }
            end.reach(count);
        }
        return end.receiveRest(buffer, size);
    }

private:
    ISocketStrategy& strategy;
    SOCKET socket;
    Passing passing;
    EndOfStream end;
};

class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& borrowedStrategy, SOCKET s, Passing how)
        : strategy(borrowedStrategy), socket(s), passing(how), end(strategy, s) {}

    int receive(char* buffer, int size) override {
        if (!end.isReached() && mayHoldMore && isReadable(strategy, socket)) {
            const int count = strategy.recv(socket, buffer, size, 0);
            if (count > 0) {
                return noteFilling(count, size);
            }
            end.reach(count);
        }
        while (!end.isReached()) {
            DWORD count = 0;
            bool isEnd = false;
            const bool hasReceived = receiveOnce(buffer, size, count, isEnd);
            if (hasReceived && count > 0) {
                return noteFilling(static_cast<int>(count), size);
            }
            if (!hasReceived || isEnd) {
                const int result = hasReceived ? 0 : -1;
                if (passing == Passing::Clear) {
                    return result;
                }
                end.reach(result);
            }
            // Otherwise what came is no whole record yet.
        }
        return end.receiveRest(buffer, size);
    }

private:
    // One receive, from posting it to its application bytes. isEnd: the peer has closed, which
    // only the count of the completion itself tells; nothing is left to complete then, since each
    // completion before has delivered all that it had, or left mayHoldMore.
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
            finishUnwaited(overlapped);
            return false;
        }
        isEnd = count == 0;
        return isEnd || strategy.completeWSARecv(0, &count, nullptr) == 0;
    }

    // A wait can fail for a want of descriptors or memory while the receive is still pending, and
    // the system writes to its state when it ends. Cutting the connection ends it. Keeps the last
    // error.
    void finishUnwaited(WSAOVERLAPPED& overlapped) const {
        const int error = platform::WSAGetLastError();
        DWORD count = 0;
        DWORD flags = 0;
        while (platform::WSAGetOverlappedResult(socket, &overlapped, &count, FALSE, &flags) ==
                   FALSE &&
               platform::WSAGetLastError() == WSA_IO_INCOMPLETE) {
            endTraffic(socket);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        platform::WSASetLastError(error);
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
    EndOfStream end;
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
