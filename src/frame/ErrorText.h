// How a failure of a system call reaches the log, and the name of a peer for a log line.
//
// The library's way with a failed call: logSystemError with the call's name and code, then
// std::runtime_error with a short fixed text. The log has the detail, the exception only the class.
//
// No shared state: any thread may call any of them. They throw only when memory runs out.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/Sockets.h"

#include <string>

namespace VexaSsl {

// The system's one-line text for an error number or a security status; empty when it has none.
std::wstring systemErrorText(DWORD code);

// Logs "<what> failed with: <code> (<text>)" as an Error. The code is written unsigned.
void logSystemError(ILog& log, const std::wstring& what, DWORD code);

// The host name of a socket address. A failed look-up gives an empty text; see the definition for
// which failures also give an Error line.
std::wstring peerHostName(ILog& log, const sockaddr* address, int addressLength);

} // namespace VexaSsl
