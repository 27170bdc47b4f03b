// Matchers and constructors for lines of a log.
#pragma once

#include "integration/support/SharedLog.h"

#include <gmock/gmock.h>

#include <string>

namespace VexaSsl::test {

// Returns the line.
inline LogLine error(std::wstring text) {
    return {Severity::Error, std::move(text)};
}
inline LogLine warning(std::wstring text) {
    return {Severity::Warning, std::move(text)};
}
inline LogLine info(std::wstring text) {
    return {Severity::Info, std::move(text)};
}
inline LogLine debug(std::wstring text) {
    return {Severity::Debug, std::move(text)};
}

// Matches a line that begins with start and continues with the system's text for a code.
MATCHER_P2(lineStarting, severity, start, "") {
    return arg.severity == severity && arg.text.starts_with(start) && arg.text.ends_with(L")");
}

// Matches the line of a failed system call: the code and the system's text in parentheses.
inline auto systemError(const std::wstring& what, unsigned long code) {
    return lineStarting(Severity::Error, what + L" failed with: " + std::to_wstring(code) + L" (");
}

} // namespace VexaSsl::test
