// What the log reads whenever the configuration can't be had and the connection stays plain.
#pragma once

namespace VexaSsl {

inline constexpr const wchar_t* fallbackNotice = L"Reverting to NO ENCRYPTION";

} // namespace VexaSsl
