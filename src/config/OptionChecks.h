// What the holders of typed options share: how words compare and how a bad value is refused.
//
// No shared state: any thread may call any of them.
#pragma once

#include "VexaSsl/ILog.h"

#include <string>

namespace VexaSsl {

// Letter case aside, whole texts, nothing trimmed.
bool sameWord(const std::wstring& left, const std::wstring& right);

// True or False into result. Result: false for any other text, which leaves result alone.
bool parseBoolean(const std::wstring& text, bool& result);

// Logs "Supplied value [<value>] of <optionName> is invalid" as an Error. Result: false, so that a
// check can end with it.
bool refuseValue(ILog& log, const std::wstring& optionName, const std::wstring& value);

// Throws std::out_of_range("invalid configuration"): the one outcome of every bad configuration.
// The class says nothing about an index; the reason is in the log.
[[noreturn]] void throwInvalidConfiguration();

} // namespace VexaSsl
