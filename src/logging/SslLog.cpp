#include "VexaSsl/SslLog.h"

#include "platform/contract/TextFiles.h"
#include "platform/contract/WindowsBase.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <system_error>

namespace VexaSsl {

namespace {

// A longer path arrives cut and is used as it is: the file then lies wherever that path leads.
constexpr DWORD pathCapacity = 260;

std::filesystem::path logFilePath() {
    // One unit more than the system may fill, so that a path that was cut ends as well.
    std::array<wchar_t, pathCapacity + 1> executable{};
    platform::GetModuleFileNameW(nullptr, executable.data(), pathCapacity);
    return std::filesystem::path(executable.data()).replace_extension(L".log");
}

// Existing lines stay, and several processes of one executable share the file.
void openLogFile(std::wfstream& stream) {
    try {
        platform::openTextFile(stream, logFilePath(), std::ios_base::out | std::ios_base::app);
    } catch (const std::system_error&) {
        // The path, cut perhaps, is no file name here. That counts as a file that can't be opened.
        stream.setstate(std::ios_base::failbit);
    }
}

// Whatever its exception mask says, a stream throws here when characters that it couldn't convert
// are still waiting to be written.
void closeLogFile(std::wfstream& stream) {
    try {
        stream.close();
    } catch (const std::ios_base::failure&) {
        stream.setstate(std::ios_base::failbit);
    }
}

// A severity of a host's own invention has no tag; its line starts with the blank.
const wchar_t* tagOf(Severity severity) {
    switch (severity) {
    case Severity::Debug:
        return L"[Debug]";
    case Severity::Info:
        return L"[Info]";
    case Severity::Warning:
        return L"[Warning]";
    case Severity::Error:
        return L"[Error]";
    case Severity::Fatal:
        return L"[Fatal]";
    }
    return L"";
}

} // namespace

SslLog::SslLog() : stream(std::make_unique<std::wfstream>()), minimumSeverity(Severity::Info) {
    openLogFile(*stream);
    // Never true, since the threshold starts at Info. Compatibility: opening-log-line
    if (minimumSeverity < Severity::Info) {
        writeLine(Severity::Debug, L"opening log");
    }
}

SslLog::~SslLog() {
    if (minimumSeverity < Severity::Info) {
        writeLine(Severity::Debug, L"closing log");
    }
    closeLogFile(*stream);
}

void SslLog::log(Severity severity, const std::wstring& text) {
    if (shouldLog(severity)) {
        writeLine(severity, text);
    }
}

void SslLog::setMinimumSeverity(Severity severity) {
    minimumSeverity = severity;
}

bool SslLog::shouldLog(Severity severity) const {
    return severity >= minimumSeverity;
}

// A character that the file's conversion can't express fails the file stream for good: this line
// and all later ones are missing there. The console goes on.
void SslLog::writeLine(Severity severity, const std::wstring& text) {
    const std::wstring line = tagOf(severity) + (L" " + text);
    *stream << line << std::endl;
    // An earlier line may have failed the console, and so may the host: that must not silence it
    // for ever. (A host that unties wcout from stdio gets the file's behaviour there too.)
    std::wcout.clear();
    std::wcout << line << std::endl;
    if (severity >= Severity::Warning) {
        stream->flush();
    }
}

} // namespace VexaSsl
