// The log of a connection; one for each, so that causes don't mix. A line at or above the minimum
// severity is written to stderr as "[Warning] text" after the connection's prefix, or as an object;
// every line, including dropped ones, feeds the diagnosis. The Warning about a receive that
// delivers nothing counts as Debug: records arrive in pieces on a real network, and such lines
// would be most of the log.
//
// Threads: any; each log has a lock, and all share the one of the printer.
//
// Ownership: the printer is borrowed and outlives the log; the log outlives the strategies.
#pragma once

#include "VexaSsl/ILog.h"
#include "common/Diagnosis.h"

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Writes whole lines to stderr, one at a time: text for a user, or objects for a script.
class LinePrinter {
public:
    enum class Form { Prose, Json };

    // Quiet: failures only. Verbose: every line of the library, whatever the minimum severity.
    enum class Verbosity { Quiet, Usual, Verbose };

    explicit LinePrinter(Form form = Form::Prose, Verbosity verbosity = Verbosity::Usual)
        : form(form), verbosity(verbosity) {}

    bool isJson() const { return form == Form::Json; }
    bool isQuiet() const { return verbosity == Verbosity::Quiet; }
    // Whether a line of the library is printed.
    bool wants(Severity severity, Severity minimum) const {
        return !isQuiet() && (verbosity == Verbosity::Verbose || severity >= minimum);
    }
    // Prints the line unchanged; the caller knows the form.
    void print(std::string_view line);
    // Prints a note that is no failure, unless it is quiet. id: for scripts.
    void note(const char* id, const std::string& text);

private:
    const Form form;
    const Verbosity verbosity;
    std::mutex mutex;
};

class ToolLog : public ILog {
public:
    explicit ToolLog(LinePrinter& printer, std::string prefix = "");

    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity severity) override;

    // action runs in the thread that logs that a record could not be decrypted, after the line. A
    // blocking recv continues after such a record; the action ends it.
    void onBrokenStream(std::function<void()> action);

    // From now on lines only feed the diagnosis.
    void silence();

    // Returns a copy of the diagnosis of the lines so far.
    Diagnosis diagnosis() const;

private:
    void print(Severity severity, const std::wstring& text);

    LinePrinter& printer;
    std::string prefix;
    mutable std::mutex mutex;
    Severity threshold = Severity::Info;
    bool silent = false;
    Diagnosis causes;
    std::function<void()> brokenStreamAction;
};

} // namespace VexaSsl::tool
