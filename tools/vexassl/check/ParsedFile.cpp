#include "check/ParsedFile.h"

#include "common/Text.h"
#include "config/ConfigFileParser.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t longestQuotation = 60; // units

constexpr std::wstring_view spacesAndTabs = L" \t";
constexpr std::wstring_view byteOrderMark = L"\u00EF\u00BB\u00BF"; // of UTF-8, byte by byte

bool hasSpacesAround(std::wstring_view text) {
    return !text.empty() && (spacesAndTabs.find(text.front()) != std::wstring_view::npos ||
                             spacesAndTabs.find(text.back()) != std::wstring_view::npos);
}

bool startsAsSixteenBits(std::wstring_view text) {
    return text.starts_with(L"\u00FF\u00FE") || text.starts_with(L"\u00FE\u00FF");
}

// A path may lead to a key or a password instead of a configuration, and many people may read the
// findings. So a line that has no meaning is reported by its place only, and a key only if it can
// be an option's name.
bool canBeName(std::wstring_view key) {
    constexpr std::size_t longestName = 64;
    return key.size() <= longestName && std::all_of(key.begin(), key.end(), [](wchar_t unit) {
               return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z') ||
                      unit == L' ';
           });
}

std::string atLine(std::size_t line) {
    return "line " + std::to_string(line);
}

} // namespace

std::string quotedFileText(std::wstring_view text) {
    std::wstring start(text.substr(0, longestQuotation));
    std::replace(start.begin(), start.end(), L'\0', L'?');
    return "[" + printableText(charactersOfFileText(start)) +
           (start.size() < text.size() ? "...]" : "]");
}

ParsedFile::ParsedFile(std::filesystem::path file, std::wstring onlySection)
    : file(std::move(file)), onlySection(std::move(onlySection)) {}

std::string ParsedFile::name() const {
    return printableText(pathText(file));
}

void ParsedFile::readLine(const ReadLine& line) {
    noteCharacters(line);
    switch (line.meaning) {
    case LineMeaning::TooLong:
    case LineMeaning::NoDelimiter:
        noteDropped(line);
        break;
    case LineMeaning::Header:
        noteHeader(line);
        break;
    case LineMeaning::KeyAndValue:
        noteKeyAndValue(line);
        break;
    case LineMeaning::Blank:
        if (place.blankLine == 0) {
            place.blankLine = line.number;
        }
        break;
    case LineMeaning::NoEffect:
        add(line.number, "no-effect",
            "the line has nothing on one side of its \"=\" and no effect");
        break;
    }
}

void ParsedFile::noteDropped(const ReadLine& line) {
    if (line.meaning == LineMeaning::TooLong) {
        add(line.number, "line-too-long",
            "a line of " + std::to_string(line.text.size()) +
                " characters is dropped; 20000 are the most");
        return;
    }
    const bool looksEmpty = line.text.find_first_not_of(spacesAndTabs) == std::wstring::npos;
    add(line.number, "no-delimiter",
        looksEmpty ? "a line of spaces is dropped; it doesn't end the section"
                   : "the line is dropped: it has no \"=\" and is no [section]");
}

// A header that appears again empties the section, as in the parser.
void ParsedFile::noteHeader(const ReadLine& line) {
    const std::wstring section(line.section);
    place = {line.number, section};
    regions.push_back({line.number, onlySection.empty() || sameWord(section, onlySection)});
    if (!ConfigFileParser::isSectionHeader(line.text)) {
        add(line.number, "header-inside-line",
            quotedFileText(line.text) + " opens the section " + quotedFileText(section) +
                " because of the brackets in it; the rest of the line is dropped");
    }
    const auto [known, isNew] = sections.try_emplace(section);
    if (!isNew) {
        add(line.number, "section-defined-twice",
            quotedFileText(section) + " is here again; what the file said at " +
                atLine(known->second.line) + " is dropped");
    }
    known->second = {line.number, section, {}};
}

void ParsedFile::noteKeyAndValue(const ReadLine& line) {
    if (line.section.empty()) {
        noteKeyOutside(line);
        return;
    }
    noteSpacesAround(line);
    const std::wstring key(line.key);
    auto& entries = sections[std::wstring(line.section)].entries;
    const auto [known, isNew] = entries.try_emplace(key);
    if (!isNew) {
        add(line.number, "key-defined-twice",
            quotedFileText(key) + " is here again; its value at " + atLine(known->second.line) +
                " is dropped");
    }
    known->second = {line.number, key, std::wstring(line.value)};
}

void ParsedFile::noteKeyOutside(const ReadLine& line) {
    const std::wstring key(line.key);
    const bool beforeAnySection = place.headerLine == 0;
    if (!beforeAnySection && !matters(line.number) &&
        !sameWord(key, ConfigurationDefinition::VexaSslSectionOptions::ConfigurationStore)) {
        return;
    }
    std::string reason = "no section begins before it";
    if (!beforeAnySection) {
        const std::string section = quotedFileText(place.header);
        reason = "the empty " + atLine(place.blankLine) + " ended " + section;
        if (!place.isReported) {
            add(place.blankLine, "blank-line-in-section",
                "the empty line ends the section " + section + " of " + atLine(place.headerLine) +
                    ": the keys after it are lost");
            place.isReported = true;
        }
    }
    add(line.number, "key-outside-section",
        (canBeName(key) ? quotedFileText(key) : "this key") +
            " belongs to no section and is never read: " + reason);
}

void ParsedFile::noteSpacesAround(const ReadLine& line) {
    if (hasSpacesAround(line.key)) {
        add(line.number, "blanks-around-key",
            "the spaces around " + quotedFileText(line.key) + " belong to the name");
    }
    if (hasSpacesAround(line.value)) {
        add(line.number, "blanks-around-value",
            "the spaces around " + quotedFileText(line.value) + " belong to the value");
    }
}

void ParsedFile::noteCharacters(const ReadLine& line) {
    const std::wstring_view text = line.text;
    const bool first = line.number == 1;
    if (first && text.starts_with(byteOrderMark)) {
        add(1, "byte-order-mark",
            "the file begins with a byte order mark, which belongs to the first line: it is " +
                std::string(line.meaning == LineMeaning::Header ? "a section nevertheless"
                                                                : "no section for that reason"));
        return;
    }
    if (first && startsAsSixteenBits(text)) {
        add(1, "sixteen-bit-text",
            "the file seems to hold characters of 16 bits; only single bytes are read, so save it "
            "as ASCII or UTF-8");
    }
    if (text.find(L'\0') != std::wstring_view::npos) {
        add(line.number, "zero-character", "there are zero bytes in the line: is this a text?");
        return;
    }
    const bool isRead = line.meaning == LineMeaning::KeyAndValue && !line.section.empty();
    if (isRead && std::any_of(text.begin(), text.end(), [](wchar_t c) { return c > 0x7F; })) {
        add(line.number, "not-ascii",
            quotedFileText(text) + " has characters beyond ASCII; every byte of them is taken as a "
                                   "character, so a name equals its like only in this encoding");
    }
}

void ParsedFile::add(std::size_t line, const std::string& id, const std::string& text) {
    found.add({Gravity::Warning, id, text, name(), line, ExitStatus::Warnings});
}

// Lines before all sections matter only when the section is missing: they may be the reason.
bool ParsedFile::matters(std::size_t line) const {
    if (regions.empty() || line < regions.front().firstLine) {
        return onlySection.empty() || findSection(onlySection) == nullptr;
    }
    const auto next =
        std::upper_bound(regions.begin(), regions.end(), line,
                         [](std::size_t number, const Region& r) { return number < r.firstLine; });
    return std::prev(next)->matters;
}

// Dropped lines precede their headers, so their section is known only at the end.
FindingList ParsedFile::findings() const {
    FindingList result;
    for (const Finding& finding : found.all()) {
        if (finding.id == "key-outside-section" || finding.id == "blank-line-in-section" ||
            matters(finding.line)) {
            result.add(finding);
        }
    }
    return result;
}

const ParsedFile::Section* ParsedFile::findSection(const std::wstring& section) const {
    const auto known = sections.find(section);
    return known == sections.end() ? nullptr : &known->second;
}

const ParsedFile::Entry* ParsedFile::findEntry(const std::wstring& section,
                                               const std::wstring& key) const {
    const Section* known = findSection(section);
    if (known == nullptr) {
        return nullptr;
    }
    const auto entry = known->entries.find(key);
    return entry == known->entries.end() ? nullptr : &entry->second;
}

std::vector<const ParsedFile::Section*> ParsedFile::allSections() const {
    std::vector<const Section*> result;
    for (const auto& [key, section] : sections) {
        result.push_back(&section);
    }
    std::sort(result.begin(), result.end(),
              [](const Section* a, const Section* b) { return a->line < b->line; });
    return result;
}

} // namespace VexaSsl::tool
