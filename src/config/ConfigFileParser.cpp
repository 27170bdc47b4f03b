#include "config/ConfigFileParser.h"
#include "config/LogTexts.h"

#include "platform/contract/TextFiles.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <stdexcept>
#include <string>

namespace VexaSsl {

ConfigFileParser::ConfigFileParser(ILog& log, const std::filesystem::path& path,
                                   IConfigurationObserver* observer)
    : checker(log), observer(observer) {
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
        observer->valueRequested(section, key, value);
    }
    return value;
}

bool ConfigFileParser::isSectionHeader(const std::wstring& line) {
    return LineExpressions::isSectionHeader(line);
}

bool ConfigFileParser::isBlankLine(const std::wstring& line) {
    return LineExpressions::isEmpty(line);
}

// A read error ends the file. Exhausted memory must not, since the rest of the file may ask for
// encryption: the stream reports it only with badbit among its exceptions.
void ConfigFileParser::readLines(const std::filesystem::path& path) {
    std::wifstream stream;
    platform::openTextFile(stream, path);
    if (!stream) {
        throw std::runtime_error(LogTexts::unopenedFile);
    }
    try {
        stream.exceptions(std::ios_base::badbit);
        std::wstring line;
        while (platform::getTextLine(stream, line)) {
            lines.push_back(line); // a copy allocates once, a line that grows several times
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
            notify({number, *reason, line});
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
    CurrentSection current;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const std::wstring& line = lines[index];
        LineExpressions::KeyAndValue pair{};
        const LineMeaning meaning = parseLine(line, current, pair);
        notify({lineNumbers[index], meaning, line, current.name, pair.key, pair.value});
    }
    lineNumbers.clear();
}

// A line whose only delimiter is its first or last unit has no effect.
// Compatibility: header-anywhere
// Compatibility: empty-line-ends-section
LineMeaning ConfigFileParser::parseLine(const std::wstring& line, CurrentSection& current,
                                        LineExpressions::KeyAndValue& pair) {
    if (const auto name = LineExpressions::findSectionName(line)) {
        current.name = *name;
        current.options = &sections[current.name];
        current.options->clear();
        return LineMeaning::Header;
    }
    if (const auto found = LineExpressions::findKeyAndValue(line)) {
        pair = *found;
        if (current.options == nullptr) {
            current.options = &sections[current.name];
        }
        (*current.options)[std::wstring(pair.key)] = pair.value;
        return LineMeaning::KeyAndValue;
    }
    if (isBlankLine(line)) {
        current = {};
        return LineMeaning::Blank;
    }
    return LineMeaning::NoEffect;
}

void ConfigFileParser::notify(const ReadLine& line) const {
    if (observer != nullptr) {
        observer->readLine(line);
    }
}

} // namespace VexaSsl
