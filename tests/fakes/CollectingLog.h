// An ILog that keeps every line, whatever the threshold, and every threshold it was given.
#pragma once

#include "VexaSsl/ILog.h"
#include "fakes/Secrets.h"

#include <ostream>
#include <string>
#include <vector>

namespace VexaSsl::test {

struct LogLine {
    Severity severity;
    std::wstring text;
    bool operator==(const LogLine&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    out << static_cast<int>(line.severity) << " ";
    for (const wchar_t unit : line.text) {
        out << (unit < 0x80 ? static_cast<char>(unit) : '?');
    }
    return out;
}

class CollectingLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override {
        secrets::searchIn(text);
        lines.push_back({severity, text});
    }
    void setMinimumSeverity(Severity severity) override { thresholds.push_back(severity); }

    std::vector<LogLine> lines;
    std::vector<Severity> thresholds;
};

} // namespace VexaSsl::test
