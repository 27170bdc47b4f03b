#include "config/OptionMap.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cwctype>
#include <string>
#include <type_traits>

namespace VexaSsl {

namespace {

constexpr std::uint64_t offsetBasis = 0xcbf29ce484222325;
constexpr std::uint64_t prime = 0x100000001b3;
constexpr unsigned bitsOfByte = 8;

// In ASCII only capital letters have a lower case, which depends on the locale ("I"); most texts
// consist of other units, for which towlower is not called.
wchar_t fold(wchar_t unit) {
    const bool staysAsItIs = unit < L'A' || (unit > L'Z' && unit <= L'\x7F');
    return staysAsItIs ? unit : static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(unit)));
}

constexpr std::uint64_t toThePower(std::uint64_t base, std::size_t exponent) {
    std::uint64_t result = 1;
    for (; exponent > 0; --exponent) {
        result *= base;
    }
    return result;
}

// A byte of zero only multiplies, so the upper bytes of a unit below 0x100 are one multiplication.
std::uint64_t hashUnit(std::uint64_t hash, wchar_t unit) {
    std::uint64_t rest = static_cast<std::make_unsigned_t<wchar_t>>(unit);
    if (rest <= 0xFF) {
        return (hash ^ rest) * toThePower(prime, sizeof unit);
    }
    for (std::size_t byte = 0; byte < sizeof unit; ++byte) {
        hash = (hash ^ (rest & 0xFF)) * prime;
        rest >>= bitsOfByte;
    }
    return hash;
}

} // namespace

std::size_t CaseInsensitiveHash::operator()(const std::wstring& key) const {
    std::uint64_t hash = offsetBasis;
    for (const wchar_t unit : key) {
        hash = hashUnit(hash, fold(unit));
    }
    return hash;
}

bool CaseInsensitiveEqual::operator()(const std::wstring& left, const std::wstring& right) const {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](wchar_t one, wchar_t other) { return one == other || fold(one) == fold(other); });
}

} // namespace VexaSsl
