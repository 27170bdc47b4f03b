#include "ToolLog.h"

#include <cstdint>
#include <cstdio>
#include <utility>

namespace VexaSsl::tool {

namespace {

const char* tagOf(Severity severity) {
    switch (severity) {
    case Severity::Debug:
        return "[Debug] ";
    case Severity::Info:
        return "[Info] ";
    case Severity::Warning:
        return "[Warning] ";
    case Severity::Error:
        return "[Error] ";
    case Severity::Fatal:
        return "[Fatal] ";
    }
    return " ";
}

void appendUtf8(std::string& text, std::uint32_t point) {
    const auto add = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        add(point);
    } else if (point < 0x800) {
        add(0xC0 | (point >> 6));
        add(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        add(0xE0 | (point >> 12));
        add(0x80 | ((point >> 6) & 0x3F));
        add(0x80 | (point & 0x3F));
    } else {
        add(0xF0 | (point >> 18));
        add(0x80 | ((point >> 12) & 0x3F));
        add(0x80 | ((point >> 6) & 0x3F));
        add(0x80 | (point & 0x3F));
    }
}

bool isControl(std::uint32_t point) {
    return (point < 0x20 && point != '\t') || (point >= 0x7F && point < 0xA0);
}

bool isCharacter(std::uint32_t point) {
    return point <= 0x10FFFF && !(point >= 0xD800 && point <= 0xDFFF);
}

} // namespace

void LinePrinter::print(std::string_view line) {
    std::string whole(line);
    whole.push_back('\n');
    const std::lock_guard lock(mutex);
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);
}

std::string printableText(std::wstring_view text) {
    std::string result;
    result.reserve(text.size());
    for (const wchar_t unit : text) {
        const auto point = static_cast<std::uint32_t>(unit);
        if (point == 0) {
            continue;
        }
        appendUtf8(result, isControl(point) || !isCharacter(point) ? std::uint32_t{U'?'} : point);
    }
    return result;
}

ToolLog::ToolLog(LinePrinter& linePrinter, std::string linePrefix)
    : printer(linePrinter), prefix(std::move(linePrefix)) {}

void ToolLog::log(Severity severity, const std::wstring& text) {
    bool wanted = false;
    {
        const std::lock_guard lock(mutex);
        causes.observe(text);
        wanted = !silent && severity >= threshold;
    }
    if (wanted) {
        printer.print(prefix + tagOf(severity) + printableText(text));
    }
}

void ToolLog::setMinimumSeverity(Severity severity) {
    const std::lock_guard lock(mutex);
    threshold = severity;
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
