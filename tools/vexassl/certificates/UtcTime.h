// Times in whole seconds, in UTC. Stateless; any thread.
#pragma once

#include "platform/contract/CryptoApi.h"

#include <cstdint>
#include <string>

namespace VexaSsl::tool {

using UtcTime = std::int64_t; // seconds since the beginning of 1970

UtcTime currentTime();
// A time that the platform couldn't read is 1601-01-01.
UtcTime utcTimeOf(const FILETIME& time);
FILETIME fileTimeOf(UtcTime time);

// "2026-11-21 05:10:00 UTC"
std::string utcText(UtcTime time);
// "2026-11-21T05:10:00Z"
std::string utcTextForScripts(UtcTime time);

// Reads "2026-11-21", with or without a time of day ("2026-11-21 05:10", "2026-11-21T05:10:00Z"),
// or "+30d" for a number of days from now. Throws Failure (Usage).
UtcTime parseUtcTime(const std::string& text);

// Returns the seconds of "30d". Throws Failure (Usage).
std::int64_t parseDays(const std::string& text);

} // namespace VexaSsl::tool
