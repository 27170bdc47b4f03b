#include "common/ToolLog.h"

#include "common/JsonLine.h"
#include "common/LogCollector.h"
#include "common/Text.h"
#include "secure/LogTexts.h"

#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace VexaSsl::tool {

namespace {

// The library warns of each overlapped receive that delivers nothing.
bool isOrdinary(std::wstring_view text) {
    return text.starts_with(LogTexts::tooFewBytes);
}

} // namespace

void LinePrinter::print(std::string_view line) {
    std::string whole(line);
    whole.push_back('\n');
    const std::lock_guard lock(mutex);
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);
}

void LinePrinter::note(const char* id, const std::string& text) {
    if (isQuiet()) {
        return;
    }
    print(isJson() ? JsonLine().text("type", "note").text("id", id).text("message", text).str()
                   : "vexassl: note: " + text);
}

ToolLog::ToolLog(LinePrinter& printer, std::string prefix)
    : printer(printer), prefix(std::move(prefix)) {}

void ToolLog::log(Severity severity, const std::wstring& text) {
    const Severity weight = isOrdinary(text) ? Severity::Debug : severity;
    bool wanted = false;
    std::function<void()> action;
    {
        const std::lock_guard lock(mutex);
        causes.observe(text);
        wanted = !silent && printer.wants(weight, threshold);
        if (causes.streamIsBroken()) {
            action.swap(brokenStreamAction); // runs once
        }
    }
    if (wanted) {
        print(severity, text);
    }
    if (action) {
        action();
    }
}

void ToolLog::print(Severity severity, const std::wstring& text) {
    if (printer.isJson()) {
        printer.print(JsonLine()
                          .text("type", "log")
                          .text("severity", severityName(severity))
                          .text("text", text)
                          .str());
    } else {
        printer.print(prefix + "[" + severityName(severity) + "] " + printableText(text));
    }
}

void ToolLog::setMinimumSeverity(Severity severity) {
    const std::lock_guard lock(mutex);
    threshold = severity;
}

void ToolLog::onBrokenStream(std::function<void()> action) {
    const std::lock_guard lock(mutex);
    brokenStreamAction = std::move(action);
}

void ToolLog::silence() {
    const std::lock_guard lock(mutex);
    silent = true;
}

Diagnosis ToolLog::diagnosis() const {
    const std::lock_guard lock(mutex);
    return causes;
}

} // namespace VexaSsl::tool
