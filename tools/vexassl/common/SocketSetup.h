// What the tool does to a socket beyond the calls that a host has on every system. Implemented for
// each system.
//
// Threads: any function, from any thread.
#pragma once

#include "VexaSsl/Sockets.h"

#include <functional>

namespace VexaSsl::tool {

// Allows a server that just ended to be restarted on the same port. Returns false on failure, with
// the error in the last-error slot.
bool takeOverPort(SOCKET listener);

// Makes a socket that AcceptEx has connected behave like one that accept returns. Returns false on
// failure, with the error in the last-error slot.
bool joinListener(SOCKET accepted, SOCKET listener);

// Makes the socket blocking or non-blocking. Returns false on failure.
bool setWaiting(SOCKET s, bool waits);

// Sends small pieces at once (TCP_NODELAY). The last piece of an answer of several records would
// otherwise wait for the peer's delayed acknowledgement.
void sendAtOnce(SOCKET s);

// Whether the socket takes data now. One with a send buffer set by setSendBuffer then takes at
// least a third of that size without blocking. A socket that has failed takes data, too.
bool takesData(SOCKET s);
// Sets the size of the system's send buffer, where takesData depends on it.
void setSendBuffer(SOCKET s, int size);

// Waits, once both directions are shut down, until the peer's system has acknowledged everything
// that was sent, or until mayWait returns false. Returns whether it has; true where the system
// doesn't tell.
bool waitUntilTaken(SOCKET s, const std::function<bool()>& mayWait);

// Shuts down both directions, which ends operations of other threads that wait for the peer.
void endTraffic(SOCKET s);

} // namespace VexaSsl::tool
