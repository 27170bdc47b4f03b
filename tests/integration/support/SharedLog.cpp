#include "integration/support/SharedLog.h"

#include "fakes/Secrets.h"

#include <algorithm>
#include <iterator>

namespace VexaSsl::test {

void SharedLog::log(Severity severity, const std::wstring& text) {
    secrets::searchIn(text);
    const std::lock_guard lock(mutex);
    if (severity >= minimumSeverity) {
        kept.push_back({severity, text});
    }
}

void SharedLog::setMinimumSeverity(Severity severity) {
    const std::lock_guard lock(mutex);
    minimumSeverity = severity;
}

std::vector<LogLine> SharedLog::lines() const {
    const std::lock_guard lock(mutex);
    return kept;
}

std::vector<LogLine> SharedLog::linesFrom(Severity severity) const {
    std::vector<LogLine> result;
    std::ranges::copy_if(lines(), std::back_inserter(result),
                         [severity](const LogLine& line) { return line.severity >= severity; });
    return result;
}

std::size_t SharedLog::count(Severity severity, std::wstring_view text) const {
    const auto all = lines();
    return static_cast<std::size_t>(std::ranges::count_if(
        all, [&](const LogLine& line) { return line.severity == severity && line.text == text; }));
}

std::vector<LogLine> SharedLog::linesWith(std::wstring_view part) const {
    std::vector<LogLine> result;
    std::ranges::copy_if(lines(), std::back_inserter(result), [part](const LogLine& line) {
        return line.text.find(part) != std::wstring::npos;
    });
    return result;
}

void SharedLog::clear() {
    const std::lock_guard lock(mutex);
    kept.clear();
}

} // namespace VexaSsl::test
