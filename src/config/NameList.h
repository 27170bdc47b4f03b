// The names in a list such as "alpha,beta": the successive matches of the expression "(.+?)(,|$)",
// found in one pass and without recursion.
//
// Nothing is trimmed. A name has at least one unit, so "a,,b" contains "a" and ",b", and a
// delimiter at the end adds nothing. Text between the last delimiter and a line terminator (LF, CR,
// U+2028, U+2029) is lost, and the next name starts after the terminator.
//
// Threads: any.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl {

std::vector<std::wstring> splitNameList(const std::wstring& text);

} // namespace VexaSsl
