// The one place where the system's error numbers become Winsock's. Any thread.
#pragma once

namespace VexaSsl::linux {

// The Winsock number for an errno value; WSAENETDOWN ("the network subsystem has failed") for one
// that Winsock has no word for.
int winsockError(int systemError) noexcept;

// The Winsock number for a result of getaddrinfo or getnameinfo. EAI_SYSTEM is looked up by errno.
// 0 stays 0.
int resolverError(int result) noexcept;

// Puts number into the last-error slot. Result: SOCKET_ERROR, to be returned on.
int fail(int number) noexcept;

// The same with the number that belongs to errno.
int failWithErrno() noexcept;

} // namespace VexaSsl::linux
