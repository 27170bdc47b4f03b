// Untrusted text in conversions, on a terminal and in JSON.
#include "common/Text.h"
#include "Harness.h"
#include "VexaSsl/TextConversion.h"
#include "common/JsonLine.h"
#include "tool/JsonReader.h"

#include <algorithm>

namespace {

using namespace VexaSsl;
using fuzz::require;

void convert(const std::string& bytes) {
    const std::wstring wide = convertNarrowToWide(bytes);
    require(wide.empty() || wide.size() == bytes.size(), "one unit for each byte, or empty");
    require(convertWideToNarrow(wide).size() <= wide.size(),
            "the result has at most as many bytes as units");
    const std::wstring units = fuzz::wideText(bytes);
    const std::string narrow = convertWideToNarrow(units);
    require(narrow.empty() || narrow.size() == units.size(), "one byte for each unit, or empty");
}

bool steers(unsigned char unit) {
    return (unit < 0x20 && unit != '\t') || unit == 0x7F;
}

void requireShown(const std::string& shown) {
    require(tool::isUtf8(shown), "printed text is UTF-8");
    require(std::none_of(shown.begin(), shown.end(), steers),
            "printed text has no control characters");
    require(tool::printableText(std::string_view(shown)) == shown,
            "printed text is printed unchanged");
}

void show(const std::string& bytes) {
    const std::u32string text = tool::characters(std::string_view(bytes));
    const std::string again = tool::toUtf8(text);
    require(tool::isUtf8(again), "characters are written as UTF-8");
    require(tool::isUtf8(bytes) == (again == bytes), "exactly UTF-8 is read unchanged");
    require(tool::characters(std::string_view(again)) == text, "written characters are read again");
    require(text.size() <= bytes.size(), "a character has at least one byte");

    const std::wstring widened = tool::widenedBytes(bytes);
    require(widened.size() == bytes.size(), "a unit a byte");
    require(!tool::isUtf8(bytes) || tool::charactersOfFileText(widened) == text,
            "text from a file is what was written");
    requireShown(tool::printableText(std::string_view(bytes)));
    requireShown(tool::printableText(std::wstring_view(fuzz::wideText(bytes))));
    requireShown(tool::printableText(tool::charactersOfFileText(widened)));

    tool::JsonLine line;
    line.text("bytes", bytes).list("list", std::vector<std::string>{bytes, "next"});
    require(line.str().find('\n') == std::string::npos, "a line of JSON is one line");
    require(test::readObject(line.str()).at("bytes") == again, "JSON returns the text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(fuzz::Input(data, size).rest());
    convert(bytes);
    show(bytes);
    return 0;
}
