// A sink that keeps the library's lines for a command to show or to read causes from, whatever the
// threshold: that is only remembered.
//
// Threads: any; it has a lock. It must outlive whatever logs to it.
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
    // A line of a hostile file can have any length; the rest behind longestLine units is dropped.
    static constexpr std::size_t longestLine = 2000;

    // Lines below least are not kept. A hostile file gives a Debug line for each of its own.
    explicit LogCollector(Severity leastSeverity = Severity::Debug) : least(leastSeverity) {}

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity severity) override;

    // The lines since the start or the last call; they are no longer kept here.
    std::vector<LoggedLine> take();
    Severity minimumSeverity() const;

private:
    const Severity least;
    mutable std::mutex mutex;
    std::vector<LoggedLine> lines;
    Severity threshold = Severity::Info;
};

// "Debug" and so on, as the tool's lines show them.
const char* severityName(Severity severity);

} // namespace VexaSsl::tool
