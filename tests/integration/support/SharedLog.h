// An ILog that keeps all lines from the threshold on. Any thread may use it. The threshold is Debug
// at first, so that lines of the configuration are kept, too.
#pragma once

#include "fakes/CollectingLog.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

class SharedLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity severity) override;

    std::vector<LogLine> lines() const;
    // Returns the lines of at least this severity.
    std::vector<LogLine> linesFrom(Severity severity) const;
    std::size_t count(Severity severity, std::wstring_view text) const;
    // Returns the lines whose text contains the part.
    std::vector<LogLine> linesWith(std::wstring_view part) const;
    void clear();

private:
    mutable std::mutex mutex;
    Severity minimumSeverity = Severity::Debug;
    std::vector<LogLine> kept;
};

} // namespace VexaSsl::test
