#include "config/NameList.h"

#include "config/LineExpressions.h"
#include "config/Vocabulary.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl {

namespace {

// Appends the names that end with a delimiter. Returns the length of the names and delimiters.
std::size_t takeDelimitedNames(std::wstring_view segment, std::vector<std::wstring>& names) {
    const std::wstring& delimiter = ConfigurationDefinition::NameListDelimiter;
    std::size_t begin = 0;
    for (;;) {
        // The first unit belongs to the name, a delimiter too. Compatibility: delimiter-in-name
        const std::size_t end = segment.find(delimiter, begin + 1);
        if (end == std::wstring_view::npos) {
            return begin;
        }
        names.emplace_back(segment.substr(begin, end - begin));
        begin = end + delimiter.size();
    }
}

} // namespace

// The text after the last delimiter of a segment is a name only at the end of the whole text.
std::vector<std::wstring> splitNameList(const std::wstring& text) {
    std::vector<std::wstring> names;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::wstring_view segment = LineExpressions::segmentAt(text, begin);
        const std::wstring_view rest = segment.substr(takeDelimitedNames(segment, names));
        begin += segment.size() + 1;
        const bool endsTheText = begin > text.size();
        if (endsTheText && !rest.empty()) {
            names.emplace_back(rest);
        }
    }
    return names;
}

} // namespace VexaSsl
