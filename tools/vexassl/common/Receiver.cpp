#include "common/Receiver.h"

#include "HostCalls.h"
#include "common/OwnedEvent.h"

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

// The first end that a stream meets, with its number.
class MetEnd {
public:
    bool isMet() const { return end != StreamEnd::None; }
    StreamEnd kind() const { return end; }

    // Result: whether it is the first.
    bool meet(StreamEnd met) {
        if (isMet()) {
            return false;
        }
        end = met;
        error = platform::WSAGetLastError();
        return true;
    }
    // The result of a receive at the end.
    int tell() const {
        platform::WSASetLastError(error);
        return 0;
    }

private:
    StreamEnd end = StreamEnd::None;
    int error = 0;
};

class BlockingReceiver : public Receiver {
public:
    BlockingReceiver(ISocketStrategy& borrowedStrategy, SOCKET s, Passing how)
        : strategy(borrowedStrategy), socket(s), passing(how) {}

    int receive(char* buffer, int size) override {
        if (!met.isMet()) {
            const int count = strategy.recv(socket, buffer, size, 0);
            if (count > 0) {
                return count;
            }
            met.meet(count == 0 ? StreamEnd::Closed : StreamEnd::Lost);
        }
        // What came in one read with the peer's closure, before it, is delivered behind the end.
        // The network is read only where that doesn't wait: a peer may keep the connection open
        // behind its closure.
        if (met.kind() == StreamEnd::Closed && passing == Passing::AsConfigured && isReadable()) {
            if (const int count = strategy.recv(socket, buffer, size, 0); count > 0) {
                return count;
            }
        }
        return met.tell();
    }

    StreamEnd end() const override { return met.kind(); }

private:
    // Whether a recv has something to tell at once: bytes from the network or its end, or what the
    // strategy has decrypted and not delivered.
    bool isReadable() {
        fd_set readable{};
        platform::socketSetAdd(socket, readable);
        const timeval atOnce{};
        return strategy.select(0, &readable, nullptr, nullptr, &atOnce) > 0;
    }

    ISocketStrategy& strategy;
    SOCKET socket;
    Passing passing;
    MetEnd met;
};

// Each receive that is posted is completed by the same call, so that the strategy never fills a
// buffer of an earlier one.
class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& borrowedStrategy, SOCKET s)
        : strategy(borrowedStrategy), socket(s) {}

    int receive(char* buffer, int size) override {
        while (mayHoldMore || !met.isMet()) {
            const int count = std::exchange(mayHoldMore, false) ? takeHeld(buffer, size)
                                                                : receiveOnce(buffer, size);
            if (count > 0) {
                mayHoldMore = mayHoldMore || count == size;
                return count;
            }
            // Otherwise what came is no whole record yet.
        }
        return met.tell();
    }

    StreamEnd end() const override { return met.kind(); }

private:
    // A full buffer may leave decrypted data behind in the strategy, and so may an end. A recv
    // would take it, but read on where it is less than the buffer takes, and give it up when it
    // meets the end there. A receive on no socket reads nothing: it fails at once, but keeps its
    // place, and to complete it serves what is held.
    int takeHeld(char* buffer, int size) {
        WSAOVERLAPPED state{};
        return post(INVALID_SOCKET, buffer, size, state) == Posting::NotTaken ? 0 : complete(0);
    }

    // From posting a receive to its application bytes. Only the count of the completion itself
    // tells the peer's end: 0 application bytes are also a piece of a record.
    int receiveOnce(char* buffer, int size) {
        event.reset();
        WSAOVERLAPPED state{};
        state.hEvent = event.get();
        const Posting posting = post(socket, buffer, size, state);
        if (posting == Posting::NotTaken) {
            met.meet(StreamEnd::Lost);
            return 0;
        }
        DWORD transferred = 0;
        if (posting != Posting::UnderWay || !wait(state, transferred)) {
            // Whoever has cut the connection on this side knows why.
            const bool isCut = platform::WSAGetLastError() == WSA_OPERATION_ABORTED;
            meet(isCut ? StreamEnd::Closed : StreamEnd::Lost);
        } else if (transferred == 0) {
            meet(isInsideRecord ? StreamEnd::InsideRecord : StreamEnd::Closed);
        }
        const int count = complete(transferred);
        isInsideRecord = count == 0;
        return count;
    }

    enum class Posting {
        UnderWay,
        Failed,   // but the strategy will want it completed
        NotTaken, // the strategy itself ran short; the log tells
    };

    Posting post(SOCKET s, char* buffer, int size, WSAOVERLAPPED& state) {
        WSABUF description{};
        description.len = static_cast<ULONG>(size);
        description.buf = buffer;
        DWORD flags = 0;
        DWORD ignored = 0;
        platform::WSASetLastError(0); // as the strategy leaves it then
        if (strategy.WSARecv(s, &description, 1, &ignored, &flags, &state, nullptr) == 0 ||
            platform::WSAGetLastError() == WSA_IO_PENDING) {
            return Posting::UnderWay;
        }
        // Without a number of the sockets' own it was no call of theirs that failed.
        constexpr int firstSocketError = 10000; // WSABASEERR
        return platform::WSAGetLastError() < firstSocketError ? Posting::NotTaken : Posting::Failed;
    }

    bool wait(WSAOVERLAPPED& state, DWORD& transferred) const {
        DWORD flags = 0;
        if (platform::WSAGetOverlappedResult(socket, &state, &transferred, TRUE, &flags) == FALSE) {
            finishUnwaited(state);
            transferred = 0;
            return false;
        }
        return true;
    }

    // A wait can fail for a want of descriptors or memory while the receive is still pending, and
    // the system writes to its state when it ends. Cutting the connection ends it. Keeps the last
    // error.
    void finishUnwaited(WSAOVERLAPPED& state) const {
        const int error = platform::WSAGetLastError();
        DWORD count = 0;
        DWORD flags = 0;
        while (platform::WSAGetOverlappedResult(socket, &state, &count, FALSE, &flags) == FALSE &&
               platform::WSAGetLastError() == WSA_IO_INCOMPLETE) {
            endTraffic(socket);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        platform::WSASetLastError(error);
    }

    // Result: the application bytes in the buffer of the receive.
    int complete(DWORD transferred) {
        const int result = strategy.completeWSARecv(0, &transferred, nullptr);
        if (result != 0) {
            meet(result == SOCKET_ERROR ? StreamEnd::Closed : StreamEnd::Broken);
            return 0;
        }
        return static_cast<int>(transferred);
    }

    // What came before the end is still to be delivered.
    void meet(StreamEnd end) { mayHoldMore = met.meet(end) || mayHoldMore; }

    ISocketStrategy& strategy;
    SOCKET socket;
    MetEnd met;
    OwnedEvent event;
    bool mayHoldMore = false;
    bool isInsideRecord = false;
};

} // namespace

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET s,
                                               Passing passing) {
    return std::make_unique<BlockingReceiver>(strategy, s, passing);
}

std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET s) {
    return std::make_unique<OverlappedReceiver>(strategy, s);
}

} // namespace VexaSsl::tool
