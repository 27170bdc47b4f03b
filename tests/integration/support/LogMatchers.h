// Words for what a log holds.
#pragma once

#include "integration/support/SharedLog.h"

#include <gmock/gmock.h>

#include <string>

namespace VexaSsl::test {

// Exactly this line.
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

// A line of this severity that begins so; what follows is the system's text for a code.
MATCHER_P2(lineStarting, severity, start, "") {
    return arg.severity == severity && arg.text.starts_with(start) && arg.text.ends_with(L")");
}

// logSystemError's line for a code, the system's text in brackets behind it.
inline auto systemError(const std::wstring& what, unsigned long code) {
    return lineStarting(Severity::Error, what + L" failed with: " + std::to_wstring(code) + L" (");
}

} // namespace VexaSsl::test
