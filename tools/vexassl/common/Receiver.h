// Receives on a strategy in one of two ways with the same interface: by a blocking recv, or by an
// overlapped WSARecv and a wait for its completion.
//
// A blocking recv that reads the peer's closure discards what it took before; overlapped receives
// deliver every byte.
//
// Threads: one receiver per strategy, used by one thread.
//
// Ownership: strategy and socket are borrowed and outlive the receiver.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/StreamEnd.h"

#include <memory>

namespace VexaSsl::tool {

class Receiver {
public:
    virtual ~Receiver() = default;

    // Waits for application data. Returns the number of bytes in buffer, or 0 at the end of the
    // stream, with the error number of a failure in the last-error slot.
    virtual int receive(char* buffer, int size) = 0;

    // How the stream ended, once a receive has returned 0.
    virtual StreamEnd end() const = 0;
};

// The state of the stack when the receiver is used.
enum class StackState {
    Clear,       // in the clear, but it can be switched to TLS: select must not be called
    AsConfigured // any other
};

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET s,
                                               StackState stackState);

// Throws std::bad_alloc when the system can't make another event.
std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET s);

} // namespace VexaSsl::tool
