#include "config/ConfigFileParser.h"

#include "config/LineExpressions.h"
#include "platform/TextFiles.h"

#include <fstream>
#include <stdexcept>
#include <utility>

namespace VexaSsl {

ConfigFileParser::ConfigFileParser(ILog& sink, const std::filesystem::path& path)
    : log(sink), checker(log) {
    readLines(path);
    dropUnusableLines();
    parseLines();
}

std::wstring ConfigFileParser::getValue(const std::wstring& section,
                                        const std::wstring& key) const {
    const auto options = sections.find(section);
    if (options == sections.end()) {
        return {};
    }
    const auto entry = options->second.find(key);
    return entry == options->second.end() ? std::wstring() : entry->second;
}

bool ConfigFileParser::isSectionHeader(const std::wstring& line) {
    return LineExpressions::isSectionHeader(line);
}

bool ConfigFileParser::isBlankLine(const std::wstring& line) {
    return LineExpressions::isBlank(line);
}

void ConfigFileParser::readLines(const std::filesystem::path& path) {
    std::wifstream stream;
    platform::openTextFile(stream, path);
    if (!stream) {
        throw std::runtime_error("Can't open config file");
    }
    std::wstring line;
    while (platform::getTextLine(stream, line)) {
        lines.push_back(std::move(line));
    }
}

void ConfigFileParser::dropUnusableLines() {
    std::erase_if(lines, [this](const std::wstring& line) { return !isUsable(line); });
}

bool ConfigFileParser::isUsable(const std::wstring& line) const {
    if (checker.isTooLong(line)) {
        return false;
    }
    return isSectionHeader(line) || isBlankLine(line) || checker.hasDelimiter(line);
}

// A header is searched for, not matched: "key=[x]" opens the section x. A line with nothing on one
// side of its only delimiter has no effect.
void ConfigFileParser::parseLines() {
    std::wstring currentSection;
    for (const std::wstring& line : lines) {
        if (const auto name = LineExpressions::findSectionName(line)) {
            currentSection = *name;
            sections[currentSection] = OptionMap();
        } else if (const auto pair = LineExpressions::findKeyAndValue(line)) {
            sections[currentSection][std::wstring(pair->key)] = pair->value;
        } else if (isBlankLine(line)) {
            currentSection.clear();
        }
    }
}

} // namespace VexaSsl
