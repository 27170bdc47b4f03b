// The ready-made sink: writes every line to a text file and to the console (std::wcout), and
// flushes both.
//
// The file is beside the running executable and has its name with the extension ".log". Lines are
// appended. A line is "[Warning] text", without a time or a process number. The threshold is Info
// at first. A failure to open or write the file is not reported; lines then reach the console only.
//
// Threads: no lock. A host that logs from several threads serialises the calls.
// Linking: the static library VexaSslLog; libVexaSsl doesn't export the class.
#pragma once

#include "VexaSsl/ILog.h"

#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace VexaSsl {

// A log to a file and to the console.
class SslLog : public ILog {
public:
    SslLog();
    // Writes a last line "[Debug] closing log" when the threshold is below Info.
    ~SslLog() override;
    SslLog(const SslLog&) = delete;
    SslLog& operator=(const SslLog&) = delete;

    void log(Severity severity, const std::wstring& text) override;

    // Accepts any number; one above Fatal drops every line.
    void setMinimumSeverity(Severity severity) override;

    // Returns whether a line of this severity is written.
    bool shouldLog(Severity severity) const;

private:
    void writeLine(Severity severity, std::wstring_view text);

    std::unique_ptr<std::wfstream> stream;
    Severity minimumSeverity;
};

} // namespace VexaSsl
