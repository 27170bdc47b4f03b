#include "config/NameList.h"

#include "config/LineExpressions.h"
#include "config/Vocabulary.h"

namespace VexaSsl {

// At each place a name is the shortest run of at least one unit in front of a delimiter or of the
// end of the whole text. Without either in reach, no later start in the segment has one.
std::vector<std::wstring> splitNameList(const std::wstring& text) {
    const std::wstring& delimiter = ConfigurationDefinition::NameListDelimiter;
    std::vector<std::wstring> names;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::wstring_view segment = LineExpressions::segmentAt(text, begin);
        const std::size_t length = segment.find(delimiter, 1);
        if (length != std::wstring_view::npos) {
            names.emplace_back(segment.substr(0, length));
            begin += length + delimiter.size();
            continue;
        }
        const std::size_t end = begin + segment.size();
        if (end == text.size()) {
            names.emplace_back(segment);
        }
        begin = end + 1;
    }
    return names;
}

} // namespace VexaSsl
