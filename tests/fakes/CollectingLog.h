// Logs for tests. CollectingLog keeps every line, whatever the threshold, and every threshold that
// was set.
#pragma once

#include "VexaSsl/ILog.h"
#include "fakes/Secrets.h"

#include <functional>
#include <new>
#include <ostream>
#include <string>
#include <vector>

namespace VexaSsl::test {

struct LogLine {
    Severity severity;
    std::wstring text;
    bool operator==(const LogLine&) const = default;
};

// Returns the line of an operation that ran out of memory; each standard library has a text of its
// own.
inline LogLine outOfMemoryLine() {
    const std::string reason = std::bad_alloc().what();
    return {Severity::Error,
            L"A memory allocation failed. " + std::wstring(reason.begin(), reason.end())};
}

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

// Keeps the lines at or above its threshold, as a real log does.
class ThresholdLog : public CollectingLog {
public:
    void log(Severity severity, const std::wstring& text) override {
        if (severity >= threshold) {
            CollectingLog::log(severity, text);
        }
    }
    void setMinimumSeverity(Severity severity) override { threshold = severity; }

private:
    Severity threshold = Severity::Debug;
};

// Calls onLine with each line, then keeps it. onLine may throw.
class CallbackLog : public CollectingLog {
public:
    void log(Severity severity, const std::wstring& text) override {
        if (onLine) {
            onLine(severity, text);
        }
        CollectingLog::log(severity, text);
    }
    std::function<void(Severity, const std::wstring&)> onLine;
};

} // namespace VexaSsl::test
