// Translates the system's errors to Winsock's. Any thread.
#pragma once

namespace VexaSsl::linux {

// Returns the Winsock error code for an errno value; WSAENETDOWN ("the network subsystem has
// failed") for one that Winsock doesn't have.
int winsockError(int systemError) noexcept;

// Returns the Winsock error code for a result of getaddrinfo or getnameinfo; for EAI_SYSTEM that of
// errno, for 0 it is 0.
int resolverError(int result) noexcept;

// Sets the last error. Returns SOCKET_ERROR.
int fail(int number) noexcept;

// The same with the Winsock error code for errno.
int failWithErrno() noexcept;

} // namespace VexaSsl::linux
