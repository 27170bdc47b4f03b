// The reason of a failure of the system's security library, when its status says only that it
// failed.
//
// Any thread; called on the thread that saw the failure, before it begins another handshake.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Returns ": REASON", to be appended to the text of that status; nothing for any other status.
std::string securityFailureSuffix(std::uint32_t status);

// The same for a log line that names the status.
std::string securityFailureSuffix(std::wstring_view line);

// Returns the reason of a failed handshake: as securityFailureSuffix, and for a lack of a common
// version that only TLS 1.2 is spoken.
std::string handshakeFailureSuffix(std::uint32_t status);

} // namespace VexaSsl::tool
