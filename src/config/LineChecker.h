// The screening of a configuration file's lines: what is too long or has no delimiter is told to
// the log and dropped. The log is borrowed. No state changes: any thread, as far as the log allows.
#pragma once

#include "VexaSsl/ILog.h"
#include "config/Vocabulary.h"

#include <cstdint>
#include <string>

namespace VexaSsl {

class LineChecker {
public:
    // delimiter is an ECMAScript expression.
    explicit LineChecker(ILog& log,
                         std::wstring delimiter = ConfigurationDefinition::KeyValueDelimiter);

    // True, with a Debug line, for more than 20000 units.
    bool isTooLong(const std::wstring& line) const;

    // Whether the delimiter is found in the line. False, with a Debug line, when it is not found,
    // and when it is found by an expression with a capture group. How often it occurs doesn't
    // matter: "a=b=c" has its delimiter. Throws std::regex_error for a broken expression.
    bool hasDelimiter(const std::wstring& line) const;

private:
    void logIgnored(const std::wstring& reason, const std::wstring& line) const;

    ILog& log;
    std::wstring delimiter;
    std::uint64_t maximumLength = 20000; // units
    std::wstring label;
};

} // namespace VexaSsl
