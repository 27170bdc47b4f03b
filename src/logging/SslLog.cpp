#include "VexaSsl/SslLog.h"

#include "platform/contract/TextFiles.h"
#include "platform/contract/WindowsBase.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <system_error>

namespace VexaSsl {

namespace {

// A longer path is cut and used as it is.
constexpr DWORD pathCapacity = 260;

std::filesystem::path logFilePath() {
    // One unit more than the system may fill, so that a cut path is terminated.
    std::array<wchar_t, pathCapacity + 1> executable{};
    platform::GetModuleFileNameW(nullptr, executable.data(), pathCapacity);
    return std::filesystem::path(executable.data()).replace_extension(L".log");
}

// Appends: several processes of one executable share the file.
void openLogFile(std::wfstream& stream) {
    try {
        platform::openTextFile(stream, logFilePath(), std::ios_base::out | std::ios_base::app);
    } catch (const std::system_error&) {
        // The path, perhaps cut, is not a valid file name: treated as a file that can't be opened.
        stream.setstate(std::ios_base::failbit);
    }
}

// Throws, whatever the stream's exception mask, if characters that couldn't be converted are still
// buffered.
void closeLogFile(std::wfstream& stream) {
    try {
        stream.close();
    } catch (const std::ios_base::failure&) {
        stream.setstate(std::ios_base::failbit);
    }
}

// A severity outside the enumeration has no tag; its line starts with the space.
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

// A character that the file's conversion can't express fails the file stream permanently: this line
// and all later ones are missing in the file, but not on the console.
// Allocates no memory, since the destructor writes a line too.
void SslLog::writeLine(Severity severity, std::wstring_view text) {
    const auto writeTo = [&](std::wostream& output) {
        output << tagOf(severity) << L' ' << text << std::endl;
    };
    writeTo(*stream);
    // An earlier line or the host may have failed the console stream; that must not silence it
    // permanently.
    std::wcout.clear();
    writeTo(std::wcout);
    if (severity >= Severity::Warning) {
        stream->flush();
    }
}

} // namespace VexaSsl
