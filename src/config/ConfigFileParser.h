// Reads a file of sections and "key=value" lines into memory and answers from there. Both the ini
// file and the store have this format.
//
// The format has rules of its own. A blank line ends a section: keys behind it, like those before
// the first header, belong to the section with the empty name, so a section must not have blank
// lines inside. A header that comes again empties its section. There is no comment syntax and
// nothing is trimmed. A "[...]" anywhere in a line that has passed the screening makes it a header.
// A byte order mark belongs to the first line.
//
// The constructor does all the work; the object never changes afterwards and keeps no file open, so
// any thread may ask it. The log is borrowed and used only during construction. An observer is
// borrowed too and must outlive the object; it is told of questions on the thread that asks.
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
    // Throws std::runtime_error("Can't open config file"). A read error later on is the end of the
    // file: what was read is parsed. Exhausted memory is std::bad_alloc. The path is not a wide
    // text: where paths are bytes, a name that isn't text would be lost on the way. Wide texts
    // convert to it.
    ConfigFileParser(ILog& log, const std::filesystem::path& path,
                     IConfigurationObserver* observer = nullptr);
    ~ConfigFileParser() override = default;

    std::wstring getValue(const std::wstring& section, const std::wstring& key) const override;

    // Whether the line, taken as a whole, is "[name]".
    static bool isSectionHeader(const std::wstring& line);
    // Whether the line has no characters at all.
    static bool isBlankLine(const std::wstring& line);

private:
    using SectionMap =
        std::unordered_map<std::wstring, OptionMap, CaseInsensitiveHash, CaseInsensitiveEqual>;

    // The section that keys belong to, and its options when it has any yet.
    struct Place {
        std::wstring section;
        OptionMap* options = nullptr;
    };

    void readLines(const std::filesystem::path& path);
    void dropUnusableLines();
    // Empty for a line that passes the screening.
    std::optional<LineMeaning> reasonToDrop(const std::wstring& line) const;
    void parseLines();
    LineMeaning parseLine(const std::wstring& line, Place& place,
                          LineExpressions::KeyAndValue& pair);
    void tell(const ReadLine& line) const;

    SectionMap sections;
    std::vector<std::wstring> lines; // after construction: those that passed the screening
    ILog& log;
    LineChecker checker;
    IConfigurationObserver* observer;
    std::vector<std::size_t> lineNumbers; // of the lines, while they are parsed; from 1
};

} // namespace VexaSsl
