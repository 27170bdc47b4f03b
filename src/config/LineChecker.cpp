#include "config/LineChecker.h"

#include <regex>
#include <utility>

namespace VexaSsl {

LineChecker::LineChecker(ILog& sink, std::wstring delimiterExpression)
    : log(sink), delimiter(std::move(delimiterExpression)),
      label(ConfigurationDefinition::ConfigurationStoreLabel) {}

bool LineChecker::isTooLong(const std::wstring& line) const {
    if (line.size() <= maximumLength) {
        return false;
    }
    logIgnored(L"it's too long", line);
    return true;
}

// The standard library's engine is safe here on a small stack: for an expression of one character
// it tries place after place and never goes deeper. It counts groups, not occurrences, so "too many
// delimiters" is told only of a delimiter expression with a group in it; "=" has none.
bool LineChecker::hasDelimiter(const std::wstring& line) const {
    std::wsmatch match;
    if (!std::regex_search(line, match, std::wregex(delimiter))) {
        logIgnored(L"there's no delimiter", line);
        return false;
    }
    if (match.size() > 1) {
        logIgnored(L"there're too many delimiters", line);
        return false;
    }
    return true;
}

void LineChecker::logIgnored(const std::wstring& reason, const std::wstring& line) const {
    log.log(Severity::Debug,
            L"Ignoring " + label + L" option because " + reason + L": [" + line + L"]");
}

} // namespace VexaSsl
