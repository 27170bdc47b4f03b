// Checks the lines of a configuration file: too long, or without a delimiter.
//
// Threads: any, as far as the log allows.
#pragma once

#include "VexaSsl/ILog.h"
#include "config/Vocabulary.h"

#include <cstdint>
#include <string>

namespace VexaSsl {

class LineChecker {
public:
    // delimiter is an ECMAScript regular expression.
    explicit LineChecker(ILog& log,
                         std::wstring delimiter = ConfigurationDefinition::KeyValueDelimiter);

    // Returns true, after a Debug line, for more than 20000 units.
    bool isTooLong(const std::wstring& line) const;

    // Whether the line contains the delimiter, once or more. Returns false, after a Debug line, if
    // it doesn't, and also if the expression has a capture group. Throws std::regex_error for an
    // invalid expression.
    bool hasDelimiter(const std::wstring& line) const;

private:
    void logIgnored(const std::wstring& reason, const std::wstring& line) const;

    ILog& log;
    std::wstring delimiter;
    std::uint64_t maximumLength = 20000; // units
    std::wstring label;
};

} // namespace VexaSsl
