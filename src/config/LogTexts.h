// Texts by which the log lines of this module are recognised: the whole line, its beginning or
// its end.
#pragma once

namespace VexaSsl::LogTexts {

// The end of the line when the configuration can't be read and the connection stays plain.
inline constexpr const wchar_t* fallbackNotice = L"Reverting to NO ENCRYPTION";
inline constexpr const wchar_t* reservedNamePrefix = L"The connection name [";
inline constexpr const wchar_t* suppliedValuePrefix = L"Supplied value [";

// Of an exception, which the log quotes.
inline constexpr const char* unopenedFile = "Can't open config file";

} // namespace VexaSsl::LogTexts
