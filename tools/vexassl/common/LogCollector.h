// A log that keeps the library's lines, so that a command can show them or read causes from them.
// The minimum severity that the library sets is only stored.
//
// Threads: any; it has a lock. It must outlive everything that logs to it.
#pragma once

#include "VexaSsl/ILog.h"

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace VexaSsl::tool {

struct LoggedLine {
    Severity severity;
    std::wstring text;
};

class LogCollector : public ILog {
public:
    // A hostile file can produce lines of any length; a line is cut after longestLine units.
    static constexpr std::size_t longestLine = 2000;

    // Lines below least are dropped. A hostile file can produce a Debug line for each of its own.
    explicit LogCollector(Severity least = Severity::Debug) : least(least) {}

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity severity) override;

    // Returns the lines since the start or the last call, and forgets them.
    std::vector<LoggedLine> take();
    Severity minimumSeverity() const;

private:
    const Severity least;
    mutable std::mutex mutex;
    std::vector<LoggedLine> lines;
    Severity threshold = Severity::Info;
};

// Returns "Debug" and so on, as the tool prints severities.
const char* severityName(Severity severity);

} // namespace VexaSsl::tool
