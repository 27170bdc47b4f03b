// The tool's sink: one per connection, so that causes don't mix. A line at or above the threshold
// goes to stderr as "[Warning] text", behind the connection's prefix, or as an object; every line,
// dropped ones included, feeds the diagnosis. A receive that delivers nothing is told of at Debug
// only, whatever the library calls it: records come in pieces on a real network, and such lines
// would be most of the log.
//
// Threads: any; each log has a lock of its own, and all share the one of the printer.
// Ownership: the printer is borrowed and outlives the log; the log outlives the strategies.
#pragma once

#include "VexaSsl/ILog.h"
#include "common/Diagnosis.h"

#include <mutex>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Writes whole lines to stderr, one at a time: prose for a person, or objects for a script.
class LinePrinter {
public:
    enum class Form { Prose, Json };

    explicit LinePrinter(Form lineForm = Form::Prose) : form(lineForm) {}

    bool isJson() const { return form == Form::Json; }
    // The line as it is, in the form that the caller knows.
    void print(std::string_view line);
    // Something to know that is no failure. id: what a script knows it by.
    void note(const char* id, const std::string& text);

private:
    const Form form;
    std::mutex mutex;
};

class ToolLog : public ILog {
public:
    explicit ToolLog(LinePrinter& linePrinter, std::string linePrefix = "");

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity severity) override;

    // Lines only feed the diagnosis from now on.
    void silence();

    // What the lines so far tell; a copy.
    Diagnosis diagnosis() const;

private:
    LinePrinter& printer;
    std::string prefix;
    mutable std::mutex mutex;
    Severity threshold = Severity::Info;
    bool silent = false;
    Diagnosis causes;
};

} // namespace VexaSsl::tool
