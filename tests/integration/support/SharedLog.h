// An ILog for tests that run threads: every line at or above the threshold is kept under a lock.
// It starts at Debug, so that what the configuration says before a stack exists is kept too.
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
    // The lines of at least this severity, in their order.
    std::vector<LogLine> linesFrom(Severity severity) const;
    std::size_t count(Severity severity, std::wstring_view text) const;
    // The lines whose text contains the part.
    std::vector<LogLine> linesWith(std::wstring_view part) const;
    void clear();

private:
    mutable std::mutex guard;
    Severity minimumSeverity = Severity::Debug;
    std::vector<LogLine> kept;
};

} // namespace VexaSsl::test
