// The last-error slot of each thread, shared by everything in this binding that reports failures
// through GetLastError or WSAGetLastError. The numbers in it are Winsock's or Windows' own.
#pragma once

namespace VexaSsl::linux {

// The calling thread's slot, for reading and writing; it lives as long as the thread.
int& lastErrorSlot() noexcept;

} // namespace VexaSsl::linux
