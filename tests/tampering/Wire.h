// A real loopback connection between a stack and its hostile counterpart, without a thread:
// whenever the stack would wait for bytes, the counterpart takes its turn first, with all that the
// stack has sent. So whatever a test cuts, changes or leaves out happens at exactly the byte it
// names, and a stack that waits for what will never come sees the counterpart close instead.
//
// One thread. The wire outlives the strategy made by it.
#pragma once

#include "contract/tls/Side.h"
#include "integration/support/HostSocket.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

namespace VexaSsl::test {

enum class Farewell {
    close,   // no more bytes will come
    reset,   // the connection is gone at once
    silence, // the connection stays, and nothing comes before the host's receive time-out
};

// What the counterpart does in one turn. Neither bytes nor a farewell: it closes, since the stack
// would wait for ever.
struct Move {
    Bytes bytes = {};
    std::optional<Farewell> farewell = {}; // behind the bytes
};

class Wire {
public:
    // Gets what the stack has sent since the last turn.
    using Turn = std::function<Move(const Bytes& received)>;

    Wire() = default;
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    Turn turn = [](const Bytes&) { return Move{}; };
    // The stack's socket gives up receiving after so long.
    std::optional<int> receiveMilliseconds = {};
    // The counterpart resets when the stack has sent so many bytes and wants to send one more.
    std::optional<std::size_t> resetBehindSent = {};

    // The bottom of a stack on this wire; to be called once.
    std::unique_ptr<ISocketStrategy> strategy(ILog& log);
    SOCKET listener() const { return listening.handle(); }
    sockaddr_in address() const { return loopbackAddress(listening.port()); }
    // Connects the far end, before the stack accepts.
    void callIn() { farEnd = rawConnection(listening.port()); }
    // Makes the stack's end, before it connects.
    SOCKET makeCaller();
    // Sets the stack's end its time limits, which an accept may have undone.
    void limitStackEnd() const;
    // The stack's end, also the one that a failed accept keeps to itself. The wire closes it.
    SOCKET socket() const { return nearEnd.handle(); }
    // Sends bytes at once, outside of a turn.
    void sendNow(const Bytes& bytes);
    // Overlapped receives are taken in behind the strategy's back.
    void noteTaken(std::size_t count) { received += count; }
    // The counterpart has said its farewell.
    bool isOver() const { return left; }
    // What the stack has sent and no turn has seen.
    Bytes collect();

    std::size_t sentByStack() const { return sent; }
    std::size_t taken() const { return received; }

private:
    friend class WireStrategy;

    void meetCaller() { farEnd = HostSocket(acceptFrom(listening.handle())); }
    void takeTurn();
    // How many of the stack's bytes may go out now.
    int admit(int wanted);
    void leave(Farewell farewell);

    const Listener listening;
    HostSocket farEnd;
    HostSocket nearEnd;
    bool left = false;
    std::size_t delivered = 0;
    std::size_t received = 0; // of these by the stack
    std::size_t sent = 0;
    std::size_t collected = 0; // of these by the counterpart
};

// What a system has calls of its own for.

// A receive on the socket fails after so many milliseconds.
void limitReceiving(SOCKET socket, int milliseconds);
// Returns once the socket knows that the other end has reset the connection.
void awaitReset(SOCKET socket);

} // namespace VexaSsl::test
