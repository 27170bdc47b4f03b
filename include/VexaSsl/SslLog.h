// The ready-made sink: every line goes to a text file and to the console (std::wcout) at once.
//
// The file lies beside the running executable and is named after it, with the extension ".log";
// lines are appended. A line is "[Warning] text": no time, no process. It starts with the threshold
// Info. Trouble with the file is not reported; the console lines go on.
//
// Threads: no lock. A host that logs from several threads serialises the calls itself.
// Link with the static library VexaSslLog; libVexaSsl doesn't export it.
#pragma once

#include "VexaSsl/ILog.h"

#include <fstream>
#include <memory>
#include <string>

namespace VexaSsl {

// A log to a file and to the console.
class SslLog : public ILog {
public:
    SslLog();
    // With a threshold below Info the last line is "[Debug] closing log".
    ~SslLog() override;
    SslLog(const SslLog&) = delete;
    SslLog& operator=(const SslLog&) = delete;

    void log(Severity severity, const std::wstring& text) override;

    // Takes any number: one above Fatal silences everything.
    void setMinimumSeverity(Severity severity) override;

    // Whether a line of this severity is written.
    bool shouldLog(Severity severity) const;

private:
    void writeLine(Severity severity, const std::wstring& text);

    std::unique_ptr<std::wfstream> stream;
    Severity minimumSeverity;
};

} // namespace VexaSsl
