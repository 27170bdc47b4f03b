// The names in a list such as "alpha,beta", exactly as the successive matches of the expression
// "(.+?)(,|$)" give them, in one pass and without recursion.
//
// Nothing is trimmed. A name has at least one unit, so a delimiter at the place where a name starts
// belongs to the name: "a,,b" holds "a" and ",b". A delimiter at the end adds nothing. Line
// terminators (LF, CR, U+2028, U+2029) can't be part of a name: what stands between the last
// delimiter and a terminator is lost, and the next name starts behind the terminator.
//
// Any thread.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl {

std::vector<std::wstring> splitNameList(const std::wstring& text);

} // namespace VexaSsl
