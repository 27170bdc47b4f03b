// A loopback connection between a stack and its hostile counterpart, without a thread: whenever the
// stack is about to wait for bytes, the counterpart takes its turn with everything that the stack
// has sent. So every manipulation happens at an exact byte, and a stack that would wait forever
// sees the counterpart close.
//
// Single-threaded. The wire must outlive its strategy.
#pragma once

#include "contract/tls/Side.h"
#include "integration/support/HostSocket.h"
#include "strategies/UnsecureSocketStrategy.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

namespace VexaSsl::test {

enum class Ending {
    close,   // the end of the stream
    reset,   // a reset at once
    silence, // no bytes before the host's receive time-out; the connection stays open
};

// What the counterpart does in one turn. Without bytes and ending it closes, because the stack
// would wait forever.
struct Move {
    Bytes bytes = {};
    std::optional<Ending> ending = {}; // after the bytes
};

class Wire {
public:
    // received: what the stack has sent since the last turn.
    using Turn = std::function<Move(const Bytes& received)>;

    Wire() = default;
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    Turn turn = [](const Bytes&) { return Move{}; };
    // The receive time-out of the stack's socket.
    std::optional<int> receiveMilliseconds = {};
    // The counterpart resets when the stack is about to send more than this number of bytes.
    std::optional<std::size_t> resetAfterSent = {};

    // Returns the lowest strategy of a stack on this wire. Call it once.
    std::unique_ptr<ISocketStrategy> strategy(ILog& log);
    SOCKET listener() const { return listening.handle(); }
    sockaddr_in address() const { return loopbackAddress(listening.port()); }
    // Connects the far end before the stack accepts.
    void connectFarEnd() { farEnd = rawConnection(listening.port()); }
    // Creates the stack's end before it connects.
    SOCKET makeNearEnd();
    // Sets the time-outs of the stack's end, which an accept may reset.
    void limitStackEnd() const;
    // The stack's end, even if the accept failed. The wire closes it.
    SOCKET socket() const { return nearEnd.handle(); }
    // Sends bytes at once, outside of a turn.
    void sendNow(const Bytes& bytes);
    // Counts the bytes of an overlapped receive, which bypass the strategy.
    void noteTaken(std::size_t count) { received += count; }
    // Whether the counterpart has ended the connection.
    bool isOver() const { return left; }
    // Returns what the stack has sent since the last turn.
    Bytes collect();

    std::size_t sentByStack() const { return sent; }
    std::size_t taken() const { return received; }

private:
    friend class WireStrategy;

    void acceptFarEnd() { farEnd = HostSocket(acceptFrom(listening.handle())); }
    void takeTurn();
    // Returns how many of the stack's bytes may be sent now.
    int allowedToSend(int wanted);
    void endWith(Ending ending);

    const Listener listening;
    HostSocket farEnd;
    HostSocket nearEnd;
    bool left = false;
    std::size_t delivered = 0;
    std::size_t received = 0; // by the stack, of delivered
    std::size_t sent = 0;
    std::size_t collected = 0; // by the counterpart, of sent
};

// The following are defined in linux/Resets.cpp and windows/Resets.cpp.

// Sets the receive time-out.
void limitReceiving(SOCKET socket, int milliseconds);
// Returns once the reset by the other end has reached the socket.
void awaitReset(SOCKET socket);

} // namespace VexaSsl::test
