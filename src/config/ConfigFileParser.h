// Reads a file of sections and "key=value" lines, the format of the ini file and of the store.
//
//   - An empty line ends a section. Keys that follow it, like those before the first header, are
//     in a section whose name is empty.
//   - A repeated header empties its section.
//   - "[...]" anywhere in a line that isn't dropped makes it a header.
//   - There are no comments, nothing is trimmed, and a byte order mark is part of the first line.
//   - A line of more than 20000 units or without a delimiter is dropped: LineChecker.h.
//
// Threads: after construction any thread may call getValue, on which an observer is called.
#pragma once

#include "VexaSsl/ILog.h"
#include "config/IConfigurationObserver.h"
#include "config/ITwoLevelConfig.h"
#include "config/LineChecker.h"
#include "config/LineExpressions.h"
#include "config/OptionMap.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace VexaSsl {

class ConfigFileParser : public ITwoLevelConfig {
public:
    // Throws std::runtime_error("Can't open config file"). A later read error ends the file: what
    // was read is parsed. (The path isn't a wide text, since a file name need not be text on
    // Linux.)
    ConfigFileParser(ILog& log, const std::filesystem::path& path,
                     IConfigurationObserver* observer = nullptr);
    ~ConfigFileParser() override = default;

    std::wstring getValue(const std::wstring& section, const std::wstring& key) const override;

    // Whether the whole line is "[name]".
    static bool isSectionHeader(const std::wstring& line);
    static bool isBlankLine(const std::wstring& line);

private:
    using SectionMap =
        std::unordered_map<std::wstring, OptionMap, CaseInsensitiveHash, CaseInsensitiveEqual>;

    // The section that keys are added to; options is null until it has one.
    struct CurrentSection {
        std::wstring name;
        OptionMap* options = nullptr;
    };

    void readLines(const std::filesystem::path& path);
    void dropUnusableLines();
    // Returns nothing for a line that is kept.
    std::optional<LineMeaning> reasonToDrop(const std::wstring& line) const;
    void parseLines();
    LineMeaning parseLine(const std::wstring& line, CurrentSection& current,
                          LineExpressions::KeyAndValue& pair);
    void notify(const ReadLine& line) const;

    SectionMap sections;
    std::vector<std::wstring> lines; // after construction those that were kept
    LineChecker checker;
    IConfigurationObserver* observer;
    std::vector<std::size_t> lineNumbers; // of lines, from 1; empty after construction
};

} // namespace VexaSsl
