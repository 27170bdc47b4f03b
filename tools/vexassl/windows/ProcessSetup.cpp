#include "common/ProcessSetup.h"

#include "VexaSsl/Sockets.h"
#include "common/ExitStatus.h"

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>

namespace VexaSsl::tool {

namespace {

UINT consoleCodePageBefore = 0;

void restoreConsole() {
    SetConsoleOutputCP(consoleCodePageBefore);
}

// The tool's texts are UTF-8. The setting belongs to the console, not to the process, so it is
// restored.
void speakUtf8() {
    consoleCodePageBefore = GetConsoleOutputCP();
    if (consoleCodePageBefore != 0 && SetConsoleOutputCP(CP_UTF8) != FALSE) {
        std::atexit(restoreConsole);
    }
}

// The library executes a breakpoint when a peer closes TLS or sends a broken record. A debugger
// sees it before this handler; without either the process would end, and with it the other
// connections of a server.
LONG CALLBACK goOnBehindBreakpoints(EXCEPTION_POINTERS* what) {
    if (what->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    ++what->ContextRecord->Rip; // past the instruction, which is one byte
    return EXCEPTION_CONTINUE_EXECUTION;
}

std::string utf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.resize(result.empty() ? 0 : result.size() - 1); // the terminator
    return result;
}

} // namespace

void setUpProcess() {
    AddVectoredExceptionHandler(1, goOnBehindBreakpoints);
    for (std::FILE* stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
    speakUtf8();
    WSADATA data{};
    if (const int error = WSAStartup(MAKEWORD(2, 2), &data); error != 0) {
        throw Failure(ExitStatus::CannotConnect,
                      "the system has no sockets: error " + std::to_string(error));
    }
}

// There memory alone limits handles and sockets.
std::size_t allowDescriptors(std::size_t wanted) {
    return wanted;
}

// The arguments of main lack the characters that the code page lacks.
std::vector<std::string> commandArguments(int argc, char** argv) {
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) {
        return {argv, argv + argc};
    }
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        arguments.push_back(utf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

} // namespace VexaSsl::tool
