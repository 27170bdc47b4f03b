#include "platform/contract/WindowsBase.h"

namespace VexaSsl::platform {

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity) {
    return ::MultiByteToWideChar(codePage, flags, text, length, buffer, capacity);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter) {
    return ::WideCharToMultiByte(codePage, flags, text, length, buffer, capacity, defaultCharacter,
                                 usedDefaultCharacter);
}

DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments) {
    return ::FormatMessageW(flags, source, code, language, buffer, size, arguments);
}

HLOCAL LocalFree(HLOCAL memory) {
    return ::LocalFree(memory);
}

DWORD GetLastError() {
    return ::GetLastError();
}

DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size) {
    return ::GetModuleFileNameW(module, buffer, size);
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    return ::GetComputerNameExW(format, buffer, size);
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    return ::GetUserNameW(buffer, size);
}

void DebugBreak() {
    ::DebugBreak();
}

} // namespace VexaSsl::platform
