#include "common/Receiver.h"

#include "HostCalls.h"
#include "common/FirstEnd.h"
#include "common/OverlappedReceive.h"
#include "common/OwnedEvent.h"

#include <memory>

namespace VexaSsl::tool {

namespace {

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

class OverlappedReceiver : public Receiver {
public:
    OverlappedReceiver(ISocketStrategy& strategy, SOCKET socket) : overlapped(strategy, socket) {}

    int receive(char* buffer, int size) override {
        while (overlapped.mayHoldMore() || !overlapped.end().isSet()) {
            const int count = overlapped.mayHoldMore() ? overlapped.takeHeld(buffer, size)
                                                       : receiveOnce(buffer, size);
            if (count > 0) {
                return count;
            }
            // Otherwise the bytes aren't a whole record yet.
        }
        return overlapped.end().report();
    }

    StreamEnd end() const override { return overlapped.end().kind(); }

private:
    int receiveOnce(char* buffer, int size) {
        event.reset();
        overlapped.post(buffer, size, event.get());
        return overlapped.finish(true);
    }

    OverlappedReceive overlapped;
    OwnedEvent event;
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
