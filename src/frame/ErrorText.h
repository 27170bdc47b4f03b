// Logging of system errors, and the name of a peer.
//
// After a system call has failed the library calls logSystemError, then throws std::runtime_error
// with a short fixed text: the reason is in the log only. Threads: any.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/Sockets.h"

#include <string>
#include <string_view>

namespace VexaSsl {

// Returns the system's text for an error number or a security status in one line, or an empty text.
std::wstring systemErrorText(DWORD code);

// What the line of a failed call has between the call and the number.
inline constexpr const wchar_t* failedWith = L" failed with: ";

// Logs "<what> failed with: <code> (<text>)" at Error. The code is unsigned. what is a view, so
// that no memory is allocated before an argument reads the last error.
void logSystemError(ILog& log, std::wstring_view what, DWORD code);

// Returns the host name of a socket address. If the lookup fails, returns an empty text, after an
// Error line for some failures; see the definition.
std::wstring peerHostName(ILog& log, const sockaddr* address, int addressLength);

} // namespace VexaSsl
