// What StrategyOptions and SecureChannelOptions share: comparing words and refusing values.
//
// Threads: any.
#pragma once

#include "VexaSsl/ILog.h"

#include <string>

namespace VexaSsl {

// Whether two whole texts are equal without regard to case. Nothing is trimmed.
bool sameWord(const std::wstring& left, const std::wstring& right);

// Stores True or False in result. Returns false for any other text, with result unchanged.
bool parseBoolean(const std::wstring& text, bool& result);

// Logs "Supplied value [<value>] of <optionName> is invalid" at Error. Always returns false.
bool refuseValue(ILog& log, const std::wstring& optionName, const std::wstring& value);

// Throws std::out_of_range("invalid configuration"), the exception for every invalid configuration.
[[noreturn]] void throwInvalidConfiguration();

} // namespace VexaSsl
