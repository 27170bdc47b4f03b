// Names of the executable, the machine and the user.
#include "platform/contract/WindowsBase.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/linux/base/HostName.h"
#include "platform/linux/base/ModulePath.h"
#include "platform/linux/base/Utf8.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::linux {
namespace {

// Writes as much of text as fits, and a zero behind it. size is at least 1.
std::size_t writeCut(const std::wstring& text, wchar_t* buffer, std::size_t size) {
    const std::size_t length = std::min(text.size(), size - 1);
    *std::copy_n(text.begin(), length, buffer) = L'\0';
    return length;
}

// The user whose rights this process has; a number for one without an entry.
std::string effectiveUserName() {
    constexpr std::size_t largestEntry = 1 << 20;
    const uid_t user = geteuid();
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(1024);
    while (getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == ERANGE &&
           texts.size() < largestEntry) {
        texts.resize(texts.size() * 2);
    }
    return found ? found->pw_name : std::to_string(user);
}

DWORD giveModuleName(wchar_t* buffer, DWORD size) {
    const std::wstring path = wideOfUtf8(executablePath());
    if (path.empty() || !buffer || size == 0) {
        return failWith(path.empty() ? errorFileNotFound : ERROR_INSUFFICIENT_BUFFER, DWORD{0});
    }
    const std::size_t written = writeCut(path, buffer, size);
    return written == path.size() ? static_cast<DWORD>(written)
                                  : failWith(ERROR_INSUFFICIENT_BUFFER, size);
}

// On success *size counts the units without the terminator plus counted; else it tells the room
// that is needed, terminator included.
BOOL giveName(const std::wstring& name, wchar_t* buffer, DWORD* size, DWORD tooSmall,
              DWORD counted) {
    const auto needed = static_cast<DWORD>(name.size() + 1);
    const DWORD room = std::exchange(*size, needed);
    if (!buffer || room < needed) {
        return failWith(tooSmall, FALSE);
    }
    writeCut(name, buffer, room);
    *size = needed - 1 + counted;
    return TRUE;
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size) {
    if (module) { // only the executable itself is known here
        return failWith(errorInvalidParameter, DWORD{0});
    }
    return guarded(DWORD{0}, [&] { return giveModuleName(buffer, size); });
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    if (format != ComputerNameDnsFullyQualified || !size) {
        return failWith(errorInvalidParameter, FALSE);
    }
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        return giveName(wideOfUtf8(fullyQualifiedHostName()), buffer, size, ERROR_MORE_DATA, 0);
    });
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    if (!size) {
        return failWith(errorInvalidParameter, FALSE);
    }
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        return giveName(wideOfUtf8(effectiveUserName()), buffer, size, ERROR_INSUFFICIENT_BUFFER,
                        1);
    });
}

} // namespace VexaSsl::platform
