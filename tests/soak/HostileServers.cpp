#include "soak/HostileServers.h"

#include "soak/Hostility.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace VexaSsl::test {

namespace {

// The four kinds in turn: four times at once, and four times after a pause in which the client
// receives what was sent before.
void maltreat(HostSocket& socket, std::string_view halfRecord) {
    static std::atomic<unsigned> turn{0};
    const unsigned number = turn++;
    if (number / 4 % 2 == 1) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    switch (number % 4) {
    case 0:
        sendBytes(socket.handle(), sentBytes().at(number * 7919, 1 + number * 31 % 5000));
        awaitEnd(socket);
        break;
    case 1:
        awaitEnd(socket);
        break;
    case 2:
        sendBytes(socket.handle(), halfRecord);
        resetAtClose(socket.handle());
        break;
    default:
        sendSlowly(socket, halfRecord, std::chrono::milliseconds(50));
        break;
    }
    // Ends the connection for the peer now.
    socket.close();
}

void attackInsteadOfHandshake(ISocketStrategy&, HostSocket& socket) {
    maltreat(socket, handshakeBeginning);
}

void attackAfterHandshake(ISocketStrategy& stack, HostSocket& socket) {
    if (stack.completeAcceptEx() == 0) {
        maltreat(socket, dataBeginning);
    }
}

} // namespace

HostileServers::HostileServers(std::size_t workers)
    : instead(workers, attackInsteadOfHandshake), after(workers, attackAfterHandshake) {}

} // namespace VexaSsl::test
