#include "common/OverlappedReceive.h"

#include "VexaSsl/IConnectionInfo.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace VexaSsl::tool {

bool OverlappedReceive::post(char* buffer, int size, HANDLE event) {
    state = {};
    state.hEvent = event;
    postedSize = size;
    posting = tryPost(socket, buffer, size, state);
    if (posting == Posting::NotTaken) {
        firstEnd.set(StreamEnd::Lost);
    } else if (posting == Posting::Failed) {
        setLost();
    }
    return posting == Posting::UnderWay;
}

OverlappedReceive::Posting OverlappedReceive::tryPost(SOCKET s, char* buffer, int size,
                                                      WSAOVERLAPPED& overlapped) {
    WSABUF description{};
    description.len = static_cast<ULONG>(size);
    description.buf = buffer;
    DWORD flags = 0;
    DWORD ignored = 0;
    platform::WSASetLastError(0); // the strategy leaves it alone in that case
    if (strategy.WSARecv(s, &description, 1, &ignored, &flags, &overlapped, nullptr) == 0 ||
        platform::WSAGetLastError() == WSA_IO_PENDING) {
        return Posting::UnderWay;
    }
    // An error number outside the range of the sockets' isn't from a socket call.
    constexpr int firstSocketError = 10000; // WSABASEERR
    return platform::WSAGetLastError() < firstSocketError ? Posting::NotTaken : Posting::Failed;
}

// Only the count of the completion shows the peer's end: 0 application bytes can also mean a
// partial record.
int OverlappedReceive::finish(bool waits) {
    if (posting == Posting::NotTaken) {
        return 0;
    }
    DWORD transferred = 0;
    if (posting == Posting::UnderWay) {
        DWORD flags = 0;
        const BOOL waiting = waits ? TRUE : FALSE;
        if (platform::WSAGetOverlappedResult(socket, &state, &transferred, waiting, &flags) ==
            FALSE) {
            finishUnwaited();
            transferred = 0;
            setLost();
        } else if (transferred == 0) {
            set(insideRecord ? StreamEnd::InsideRecord : StreamEnd::Closed);
        }
    }
    const int count = complete(transferred, postedSize);
    insideRecord = count == 0;
    return count;
}

int OverlappedReceive::takeHeld(char* buffer, int size) {
    const int held = dynamic_cast<IConnectionInfo&>(strategy).heldBytes();
    mayHold = held > 0;
    if (mayHold) {
        return strategy.recv(socket, buffer, std::min(held, size), 0);
    }
    return held == SOCKET_ERROR ? takeHeldEnd(buffer, size) : 0;
}

// Only a completion distinguishes the peer's closure from a broken record. A receive on no socket
// fails at once but stays pending, and completing it reports what is held.
int OverlappedReceive::takeHeldEnd(char* buffer, int size) {
    WSAOVERLAPPED unused{};
    return tryPost(INVALID_SOCKET, buffer, size, unused) == Posting::NotTaken ? 0
                                                                              : complete(0, size);
}

// A wait can fail for lack of descriptors or memory while the receive is pending, and the system
// writes to the receive's state when it completes. Cutting the connection completes it. Preserves
// the last error.
void OverlappedReceive::finishUnwaited() {
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

// Returns the number of application bytes in the oldest receive's buffer, which has that size.
int OverlappedReceive::complete(DWORD transferred, int size) {
    const int result = strategy.completeWSARecv(0, &transferred, nullptr);
    if (result != 0) {
        set(result == SOCKET_ERROR ? StreamEnd::Closed : StreamEnd::Broken);
        return 0;
    }
    const int count = static_cast<int>(transferred);
    mayHold = mayHold || count == size;
    return count;
}

// What was received before the end is still delivered.
void OverlappedReceive::set(StreamEnd end) {
    mayHold = firstEnd.set(end) || mayHold;
}

// The end that cut the connection on this side has the reason.
void OverlappedReceive::setLost() {
    const bool isCut = platform::WSAGetLastError() == WSA_OPERATION_ABORTED;
    set(isCut ? StreamEnd::Closed : StreamEnd::Lost);
}

} // namespace VexaSsl::tool
