#include "common/LogCollector.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

void LogCollector::log(Severity severity, const std::wstring& text) {
    if (severity < least) {
        return;
    }
    const std::lock_guard lock(mutex);
    lines.push_back({severity, text.substr(0, longestLine)});
}

void LogCollector::setMinimumSeverity(Severity severity) {
    const std::lock_guard lock(mutex);
    threshold = severity;
}

std::vector<LoggedLine> LogCollector::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

Severity LogCollector::minimumSeverity() const {
    const std::lock_guard lock(mutex);
    return threshold;
}

const char* severityName(Severity severity) {
    switch (severity) {
    case Severity::Debug:
        return "Debug";
    case Severity::Info:
        return "Info";
    case Severity::Warning:
        return "Warning";
    case Severity::Error:
        return "Error";
    case Severity::Fatal:
        return "Fatal";
    }
    return "";
}

} // namespace VexaSsl::tool
