#include "config/LineChecker.h"

#include <regex>
#include <string>
#include <utility>

namespace VexaSsl {

namespace {

enum class Finding { nothing, match, matchWithGroups };

// An expression without special characters matches only itself.
bool isPlainText(const std::wstring& expression) {
    return expression.find_first_of(L"^$\\.*+?()[]{}|") == std::wstring::npos;
}

Finding searchPlainText(const std::wstring& line, const std::wstring& text) {
    return line.find(text) == std::wstring::npos ? Finding::nothing : Finding::match;
}

// Compiled for each line, which is slow; "=", the delimiter of the files, never gets here. The
// standard library's engine doesn't recurse for an expression of one character. Groups are counted,
// not occurrences, so "too many delimiters" is logged only for an expression with a group.
Finding searchExpression(const std::wstring& line, const std::wstring& expression) {
    std::wsmatch match;
    if (!std::regex_search(line, match, std::wregex(expression))) {
        return Finding::nothing;
    }
    return match.size() > 1 ? Finding::matchWithGroups : Finding::match;
}

} // namespace

LineChecker::LineChecker(ILog& log, std::wstring delimiter)
    : log(log), delimiter(std::move(delimiter)),
      label(ConfigurationDefinition::ConfigurationStoreLabel) {}

bool LineChecker::isTooLong(const std::wstring& line) const {
    if (line.size() <= maximumLength) {
        return false;
    }
    logIgnored(L"it's too long", line);
    return true;
}

bool LineChecker::hasDelimiter(const std::wstring& line) const {
    const Finding found = isPlainText(delimiter) ? searchPlainText(line, delimiter)
                                                 : searchExpression(line, delimiter);
    if (found == Finding::nothing) {
        logIgnored(L"there's no delimiter", line);
    } else if (found == Finding::matchWithGroups) {
        logIgnored(L"there're too many delimiters", line);
    }
    return found == Finding::match;
}

void LineChecker::logIgnored(const std::wstring& reason, const std::wstring& line) const {
    log.log(Severity::Debug,
            L"Ignoring " + label + L" option because " + reason + L": [" + line + L"]");
}

} // namespace VexaSsl
