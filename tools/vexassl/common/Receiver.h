// The two ways to receive on a strategy, behind one operation: a blocking recv, and an overlapped
// WSARecv that is waited for. A service written against it runs on either.
//
// A blocking recv that meets the peer's closure gives up what it took before; overlapped receives
// deliver every byte that came.
//
// Threads: one receiver per strategy, used by one thread.
// Ownership: strategy and socket are borrowed and outlive the receiver.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/StreamEnd.h"

#include <memory>

namespace VexaSsl::tool {

class Receiver {
public:
    virtual ~Receiver() = default;

    // Waits for application data. Result: the bytes in buffer, or 0 at the end of the stream, with
    // the number of a failure in the last-error slot.
    virtual int receive(char* buffer, int size) = 0;

    // How the stream ended, once a receive has said so.
    virtual StreamEnd end() const = 0;
};

// What the stack is at the moment of receiving.
enum class Passing {
    Clear,       // it could be switched to TLS and hasn't been: select must not be asked
    AsConfigured // any other
};

std::unique_ptr<Receiver> makeBlockingReceiver(ISocketStrategy& strategy, SOCKET s,
                                               Passing passing);

// Throws std::bad_alloc when the system has no event left.
std::unique_ptr<Receiver> makeOverlappedReceiver(ISocketStrategy& strategy, SOCKET s);

} // namespace VexaSsl::tool
