// Containers of names and words without regard to case. A key keeps the spelling of its first
// insertion.
//
// Case is folded unit by unit by towlower in the process's C locale, so a host must not change that
// locale while maps exist.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace VexaSsl {

// FNV-1a, 64 bits, of the folded units in little-endian order.
struct CaseInsensitiveHash {
    std::size_t operator()(const std::wstring& key) const;
};

// Whether the texts have equal length and each pair of units is equal, as is or folded.
struct CaseInsensitiveEqual {
    bool operator()(const std::wstring& left, const std::wstring& right) const;
};

using OptionMap =
    std::unordered_map<std::wstring, std::wstring, CaseInsensitiveHash, CaseInsensitiveEqual>;
using NameSet = std::unordered_set<std::wstring, CaseInsensitiveHash, CaseInsensitiveEqual>;

} // namespace VexaSsl
