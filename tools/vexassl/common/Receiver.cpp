#include "common/Receiver.h"

#include "HostCalls.h"
#include "common/OwnedEvent.h"

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

// The first end that a stream reports, with its error number.
class FirstEnd {
public:
    bool isSet() const { return end != StreamEnd::None; }
    StreamEnd kind() const { return end; }

    // Returns whether it is the first.
    bool set(StreamEnd reported) {
        if (isSet()) {
            return false;
        }
        end = reported;
        error = platform::WSAGetLastError();
        return true;
    }
    // Returns what a receive returns at the end.
    int report() const {
        platform::WSASetLastError(error);
        return 0;
    }

private:
    StreamEnd end = StreamEnd::None;
    int error = 0;
};

class BlockingReceiver : public Receiver {
public:
    BlockingReceiver(ISocketStrategy& strategy, SOCKET socket, StackState stackState)
        : strategy(strategy), socket(socket), stackState(stackState) {}

    int receive(char* buffer, int size) override {
        if (!firstEnd.isSet()) {
            const int count = strategy.recv(socket, buffer, size, 0);
            if (count > 0) {
                return count;
            }
            firstEnd.set(count == 0 ? StreamEnd::Closed : StreamEnd::Lost);
        }
        // Data that arrived in one read with the peer's closure is delivered after the end was
        // reported. The network is read only when that doesn't block: a peer may keep the
        // connection open after its closure.
        if (firstEnd.kind() == StreamEnd::Closed && stackState == StackState::AsConfigured &&
            isReadable()) {
            if (const int count = strategy.recv(socket, buffer, size, 0); count > 0) {
                return count;
            }
        }
        return firstEnd.report();
    }

    StreamEnd end() const override { return firstEnd.kind(); }

private:
    // Whether recv would return at once: because of bytes or the end of the stream on the network,
    // or because of data that the strategy has decrypted and not delivered.
    bool isReadable() {
        fd_set readable{};
        platform::socketSetAdd(socket, readable);
        const timeval atOnce{};
        return strategy.select(0, &readable, nullptr, nullptr, &atOnce) > 0;
    }

    ISocketStrategy& strategy;
    SOCKET socket;
    StackState stackState;
    FirstEnd firstEnd;
};

// Each posted receive is completed by the same call, so the strategy never fills the buffer of an
// earlier one.
class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& strategy, SOCKET socket)
        : strategy(strategy), socket(socket) {}

    int receive(char* buffer, int size) override {
        while (mayHoldMore || !firstEnd.isSet()) {
            const int count = std::exchange(mayHoldMore, false) ? takeHeld(buffer, size)
                                                                : receiveOnce(buffer, size);
            if (count > 0) {
                mayHoldMore = mayHoldMore || count == size;
                return count;
            }
            // Otherwise the bytes aren't a whole record yet.
        }
        return firstEnd.report();
    }

    StreamEnd end() const override { return firstEnd.kind(); }

private:
    // After a full buffer, and after an end, the strategy may hold decrypted data. A recv would
    // take it, but read on while the data is shorter than its buffer, and discard it if it reads
    // the end. A receive on no socket reads nothing: it fails at once but stays pending, and its
    // completion delivers the held data.
    int takeHeld(char* buffer, int size) {
        WSAOVERLAPPED state{};
        return post(INVALID_SOCKET, buffer, size, state) == Posting::NotTaken ? 0 : complete(0);
    }

    // From posting a receive to its application bytes. Only the count of the completion shows the
    // peer's end: 0 application bytes can also mean a partial record.
    int receiveOnce(char* buffer, int size) {
        event.reset();
        WSAOVERLAPPED state{};
        state.hEvent = event.get();
        const Posting posting = post(socket, buffer, size, state);
        if (posting == Posting::NotTaken) {
            firstEnd.set(StreamEnd::Lost);
            return 0;
        }
        DWORD transferred = 0;
        if (posting != Posting::UnderWay || !wait(state, transferred)) {
            // The end that cut the connection on this side has the reason.
            const bool isCut = platform::WSAGetLastError() == WSA_OPERATION_ABORTED;
            set(isCut ? StreamEnd::Closed : StreamEnd::Lost);
        } else if (transferred == 0) {
            set(isInsideRecord ? StreamEnd::InsideRecord : StreamEnd::Closed);
        }
        const int count = complete(transferred);
        isInsideRecord = count == 0;
        return count;
    }

    enum class Posting {
        UnderWay,
        Failed,   // but the strategy must complete it
        NotTaken, // the strategy itself is out of memory; the log has a line
    };

    Posting post(SOCKET s, char* buffer, int size, WSAOVERLAPPED& state) {
        WSABUF description{};
        description.len = static_cast<ULONG>(size);
        description.buf = buffer;
        DWORD flags = 0;
        DWORD ignored = 0;
        platform::WSASetLastError(0); // the strategy leaves it alone in that case
        if (strategy.WSARecv(s, &description, 1, &ignored, &flags, &state, nullptr) == 0 ||
            platform::WSAGetLastError() == WSA_IO_PENDING) {
            return Posting::UnderWay;
        }
        // An error number outside the range of the sockets' isn't from a socket call.
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

    // A wait can fail for lack of descriptors or memory while the receive is pending, and the
    // system writes to the receive's state when it completes. Cutting the connection completes it.
    // Preserves the last error.
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

    // Returns the number of application bytes in the receive's buffer.
    int complete(DWORD transferred) {
        const int result = strategy.completeWSARecv(0, &transferred, nullptr);
        if (result != 0) {
            set(result == SOCKET_ERROR ? StreamEnd::Closed : StreamEnd::Broken);
            return 0;
        }
        return static_cast<int>(transferred);
    }

    // What was received before the end is still delivered.
    void set(StreamEnd end) { mayHoldMore = firstEnd.set(end) || mayHoldMore; }

    ISocketStrategy& strategy;
    SOCKET socket;
    FirstEnd firstEnd;
    OwnedEvent event;
    bool mayHoldMore = false;
    bool isInsideRecord = false;
};

} // namespace

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET socket,
                                               StackState stackState) {
    return std::make_unique<BlockingReceiver>(strategy, socket, stackState);
}

std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET socket) {
    return std::make_unique<OverlappedReceiver>(strategy, socket);
}

} // namespace VexaSsl::tool
