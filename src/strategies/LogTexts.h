// Texts by which the log lines of this module are recognised: the beginning of the line.
#pragma once

namespace VexaSsl::LogTexts {

inline constexpr const wchar_t* internalNamePrefix = L"Internal connection name [";

} // namespace VexaSsl::LogTexts
