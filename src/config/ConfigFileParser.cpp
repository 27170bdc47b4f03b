#include "config/ConfigFileParser.h"

#include "platform/contract/TextFiles.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <stdexcept>
#include <string>

namespace VexaSsl {

ConfigFileParser::ConfigFileParser(ILog& sink, const std::filesystem::path& path,
                                   IConfigurationObserver* told)
    : log(sink), checker(log), observer(told) {
    if (observer != nullptr) {
        observer->readingFile(path);
    }
    readLines(path);
    dropUnusableLines();
    parseLines();
}

std::wstring ConfigFileParser::getValue(const std::wstring& section,
                                        const std::wstring& key) const {
    std::wstring value;
    if (const auto options = sections.find(section); options != sections.end()) {
        const auto entry = options->second.find(key);
        value = entry == options->second.end() ? std::wstring() : entry->second;
    }
    if (observer != nullptr) {
        observer->askedFor(section, key, value);
    }
    return value;
}

bool ConfigFileParser::isSectionHeader(const std::wstring& line) {
    return LineExpressions::isSectionHeader(line);
}

bool ConfigFileParser::isBlankLine(const std::wstring& line) {
    return LineExpressions::isBlank(line);
}

// A read error ends the file. Exhausted memory must not, since what asks for encryption may stand
// in the rest: a stream keeps it to itself unless it is told to pass its failures on.
void ConfigFileParser::readLines(const std::filesystem::path& path) {
    std::wifstream stream;
    platform::openTextFile(stream, path);
    if (!stream) {
        throw std::runtime_error("Can't open config file");
    }
    try {
        stream.exceptions(std::ios_base::badbit);
        std::wstring line;
        while (platform::getTextLine(stream, line)) {
            lines.push_back(line); // a copy takes one piece of memory, growing anew several
        }
    } catch (const std::ios_base::failure&) {
        return; // with what was read
    }
}

void ConfigFileParser::dropUnusableLines() {
    std::size_t number = 0;
    std::erase_if(lines, [&](const std::wstring& line) {
        ++number;
        if (const auto reason = reasonToDrop(line)) {
            tell({number, *reason, line});
            return true;
        }
        lineNumbers.push_back(number);
        return false;
    });
}

std::optional<LineMeaning> ConfigFileParser::reasonToDrop(const std::wstring& line) const {
    if (checker.isTooLong(line)) {
        return LineMeaning::TooLong;
    }
    if (isSectionHeader(line) || isBlankLine(line) || checker.hasDelimiter(line)) {
        return std::nullopt;
    }
    return LineMeaning::NoDelimiter;
}

void ConfigFileParser::parseLines() {
    Place place;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const std::wstring& line = lines[index];
        LineExpressions::KeyAndValue pair{};
        const LineMeaning meaning = parseLine(line, place, pair);
        tell({lineNumbers[index], meaning, line, place.section, pair.key, pair.value});
    }
    lineNumbers.clear();
}

// A line with nothing on one side of its only delimiter has no effect.
// Compatibility: header-anywhere
// Compatibility: empty-line-ends-section
LineMeaning ConfigFileParser::parseLine(const std::wstring& line, Place& place,
                                        LineExpressions::KeyAndValue& pair) {
    if (const auto name = LineExpressions::findSectionName(line)) {
        place.section = *name;
        place.options = &sections[place.section];
        place.options->clear();
        return LineMeaning::Header;
    }
    if (const auto found = LineExpressions::findKeyAndValue(line)) {
        pair = *found;
        if (place.options == nullptr) {
            place.options = &sections[place.section];
        }
        (*place.options)[std::wstring(pair.key)] = pair.value;
        return LineMeaning::KeyAndValue;
    }
    if (isBlankLine(line)) {
        place = {};
        return LineMeaning::Blank;
    }
    return LineMeaning::NoEffect;
}

void ConfigFileParser::tell(const ReadLine& line) const {
    if (observer != nullptr) {
        observer->readLine(line);
    }
}

} // namespace VexaSsl
