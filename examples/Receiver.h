// Used by the examples on every system: a blocking receive that loses nothing. A recv of a whole
// buffer may read again while it has room, and when that read brings the peer's TLS closure it
// reports the end instead of the bytes that it has delivered. One byte is never followed by another
// read, and what is held comes without any.
#pragma once

#include <VexaSsl/VexaSsl.h>

#include <algorithm>

namespace example {

using namespace VexaSsl; // has SOCKET on Linux; on Windows it is global

class Receiver {
public:
    // Of an established connection that no other thread uses yet.
    Receiver(ISocketStrategy& strategy, SOCKET s)
        : strategy(strategy), info(dynamic_cast<IConnectionInfo&>(strategy)), socket(s),
          isSecured(!info.connectionInfo().protocol.empty()) {}

    // Returns what recv returns: bytes, 0 at the end of the stream, or SOCKET_ERROR.
    int receive(char* buffer, int size) {
        const int wanted = isSecured ? std::clamp(info.heldBytes(), 1, size) : size;
        return strategy.recv(socket, buffer, wanted, 0);
    }

private:
    ISocketStrategy& strategy;
    IConnectionInfo& info;
    SOCKET socket;
    bool isSecured;
};

} // namespace example
