// The containers of everything that the configuration names: sections, keys and words are matched
// without regard to letter case. A key keeps the spelling of its first insertion.
//
// Case is folded unit by unit with towlower in the process's C locale, so a host must not change
// that locale while maps live. The hash never leaves the process.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace VexaSsl {

// 64-bit FNV-1a over the bytes of the folded units, the low byte of each unit first.
struct CaseInsensitiveHash {
    std::size_t operator()(const std::wstring& key) const;
};

// Equal length, and each pair of units is the same as it stands or after folding. Nothing is
// trimmed.
struct CaseInsensitiveEqual {
    bool operator()(const std::wstring& left, const std::wstring& right) const;
};

using OptionMap =
    std::unordered_map<std::wstring, std::wstring, CaseInsensitiveHash, CaseInsensitiveEqual>;
using NameSet = std::unordered_set<std::wstring, CaseInsensitiveHash, CaseInsensitiveEqual>;

} // namespace VexaSsl
