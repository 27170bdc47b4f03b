// A list of names in a configuration file.
#include "Harness.h"
#include "config/NameList.h"

#include <regex>

namespace {

using namespace VexaSsl;
using Names = std::vector<std::wstring>;

const std::wstring terminators = L"\n\r\u2028\u2029";

std::wstring joined(const Names& names) {
    std::wstring text;
    for (const std::wstring& name : names) {
        text += (&name == &names.front() ? L"" : L",") + name;
    }
    return text;
}

// Compares with the regular expression that defines the format. The standard library's engine is
// slow and knows only two of the terminators, so only short texts without the others are compared.
void compareWithExpression(const std::wstring& text, const Names& names) {
    constexpr std::size_t longest = 40;
    if (text.size() > longest || text.find_first_of(L"\u2028\u2029") != std::wstring::npos) {
        return;
    }
    static const std::wregex expression(L"(.+?)(,|$)");
    Names expected;
    for (std::wsregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at) {
        expected.push_back((*at)[1].str());
    }
    fuzz::require(names == expected, "names are the matches of the expression");
}

void requireSound(const std::wstring& text, const Names& names) {
    std::size_t units = 0;
    for (const std::wstring& name : names) {
        units += name.size();
        fuzz::require(!name.empty(), "no name is empty");
        fuzz::require(name.find(L',', 1) == std::wstring::npos, "no name contains a delimiter");
        fuzz::require(name.find_first_of(terminators) == std::wstring::npos, "a name is one line");
    }
    fuzz::require(units <= text.size(), "names are not longer than the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = fuzz::wideText(fuzz::Input(data, size).rest());
    const Names names = splitNameList(text);
    requireSound(text, names);
    compareWithExpression(text, names);
    fuzz::require(splitNameList(joined(names)) == names,
                  "names joined and split again are the same");

    const std::size_t end = text.find_first_of(terminators);
    if (end == std::wstring::npos) {
        fuzz::require(text == joined(names) || text == joined(names) + L',',
                      "only a delimiter at the end of a line is lost");
        return 0;
    }
    Names pieces = splitNameList(text.substr(0, end + 1));
    for (std::wstring& name : splitNameList(text.substr(end + 1))) {
        pieces.push_back(std::move(name));
    }
    fuzz::require(pieces == names, "a line end ends a name");
    return 0;
}
