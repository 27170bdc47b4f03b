// The last error of each thread, which GetLastError and WSAGetLastError share. Its values are
// Windows and Winsock error codes.
#pragma once

namespace VexaSsl::linux {

// Returns the calling thread's last error, for reading and writing. Valid until the thread ends.
int& lastErrorSlot() noexcept;

} // namespace VexaSsl::linux
