// The watched calls for texts, names and files.
#include "faults/WatchedCall.h"

#include "platform/contract/Pages.h"
#include "platform/contract/TextFiles.h"
#include "platform/contract/WindowsBase.h"

namespace VexaSsl::watched {

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity) {
    return watched(Call::MultiByteToWideChar, [&] {
        return platform::MultiByteToWideChar(codePage, flags, text, length, buffer, capacity);
    });
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter) {
    return platform::WideCharToMultiByte(codePage, flags, text, length, buffer, capacity,
                                         defaultCharacter, usedDefaultCharacter);
}

// The core always passes the address of a pointer as buffer.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments) {
    const DWORD length = watched(Call::FormatMessageW, [&] {
        return platform::FormatMessageW(flags, source, code, language, buffer, size, arguments);
    });
    countHeld(Held::text, length != 0 ? 1 : 0);
    return length;
}

HLOCAL LocalFree(HLOCAL memory) {
    countHeld(Held::text, memory != nullptr ? -1 : 0);
    return platform::LocalFree(memory);
}

DWORD GetLastError() {
    return platform::GetLastError();
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    return watched(Call::GetComputerNameExW, buffer == nullptr ? Detail::sizing : Detail::filling,
                   [&] { return platform::GetComputerNameExW(format, buffer, size); });
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    return watched(Call::GetUserNameW, [&] { return platform::GetUserNameW(buffer, size); });
}

// Only counted.
void DebugBreak() {
    if (Watch* const watch = Watch::ofThisThread()) {
        ++watch->breakpoints;
    }
}

void openTextFile(std::wifstream& stream, const std::filesystem::path& path) {
    const int opened = watched(Call::openTextFile, [&] {
        platform::openTextFile(stream, path);
        return 1;
    });
    if (opened == 0) {
        stream.setstate(std::ios_base::failbit);
    }
}

bool getTextLine(std::wistream& stream, std::wstring& line) {
    return platform::getTextLine(stream, line);
}

std::filesystem::path pathFromFileText(const std::wstring& text) {
    return platform::pathFromFileText(text);
}

std::wstring pathToText(const std::filesystem::path& path) {
    return platform::pathToText(path);
}

// Not made to fail, since whether a buffer needs new pages depends on the peer's buffers.
void* mapPages(std::size_t size) noexcept {
    return platform::mapPages(size);
}

void unmapPages(void* pages, std::size_t size) noexcept {
    platform::unmapPages(pages, size);
}

} // namespace VexaSsl::watched
