// Texts of any origin on their way through the library and to a terminal or a script.
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
    require(wide.empty() || wide.size() == bytes.size(), "a unit for each byte, or nothing");
    require(convertWideToNarrow(wide).size() <= wide.size(), "a conversion doesn't grow");
    const std::wstring units = fuzz::wideText(bytes);
    const std::string narrow = convertWideToNarrow(units);
    require(narrow.empty() || narrow.size() == units.size(), "a byte for each unit, or nothing");
}

bool steers(unsigned char unit) {
    return (unit < 0x20 && unit != '\t') || unit == 0x7F;
}

void requireShown(const std::string& shown) {
    require(tool::isUtf8(shown), "what is shown is UTF-8");
    require(std::none_of(shown.begin(), shown.end(), steers), "what is shown steers no terminal");
    require(tool::printableText(std::string_view(shown)) == shown,
            "what is shown is shown as it is");
}

void show(const std::string& bytes) {
    const std::u32string text = tool::characters(std::string_view(bytes));
    const std::string again = tool::toUtf8(text);
    require(tool::isUtf8(again), "characters are written as UTF-8");
    require(tool::isUtf8(bytes) == (again == bytes), "UTF-8 is read as it is, and nothing else is");
    require(tool::characters(std::string_view(again)) == text, "what was written is read again");
    require(text.size() <= bytes.size(), "a character has a byte or more");

    const std::wstring widened = tool::widenedBytes(bytes);
    require(widened.size() == bytes.size(), "a unit a byte");
    require(!tool::isUtf8(bytes) || tool::charactersOfFileText(widened) == text,
            "a text out of a file is what was written there");
    requireShown(tool::printableText(std::string_view(bytes)));
    requireShown(tool::printableText(std::wstring_view(fuzz::wideText(bytes))));
    requireShown(tool::printableText(tool::charactersOfFileText(widened)));

    tool::JsonLine line;
    line.text("bytes", bytes).list("list", std::vector<std::string>{bytes, "next"});
    require(line.str().find('\n') == std::string::npos, "a line of JSON is one line");
    require(test::readObject(line.str()).at("bytes") == again, "JSON gives the text back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(fuzz::Input(data, size).rest());
    convert(bytes);
    show(bytes);
    return 0;
}
