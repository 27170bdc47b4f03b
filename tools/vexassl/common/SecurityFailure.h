// Why the system's security library failed, where its status tells only that it did.
//
// Any thread; asked on the thread that met the failure, before that begins another handshake.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Returns ": REASON", to be appended to the text of that status; nothing for any other status.
std::string securityFailureSuffix(std::uint32_t status);

// The same for a line of the library's log that names the status.
std::string securityFailureSuffix(std::wstring_view line);

} // namespace VexaSsl::tool
