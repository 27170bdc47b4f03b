// The names of the executable, the machine and the user.
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

// Writes as much of text as fits and a terminator. size is at least 1. Returns the units written
// without the terminator.
std::size_t copyTruncated(const std::wstring& text, wchar_t* buffer, std::size_t size) {
    const std::size_t length = std::min(text.size(), size - 1);
    *std::copy_n(text.begin(), length, buffer) = L'\0';
    return length;
}

// Returns the name of the effective user; the user ID if the user has no password entry.
std::string effectiveUserName() {
    constexpr std::size_t maxEntrySize = std::size_t{1} << 20;
    const uid_t user = geteuid();
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> strings(1024);
    while (getpwuid_r(user, &entry, strings.data(), strings.size(), &found) == ERANGE &&
           strings.size() < maxEntrySize) {
        strings.resize(strings.size() * 2);
    }
    return found ? found->pw_name : std::to_string(user);
}

DWORD copyModuleName(wchar_t* buffer, DWORD size) {
    const std::wstring path = utf8ToWide(executablePath());
    if (path.empty() || !buffer || size == 0) {
        return failWith(path.empty() ? errorFileNotFound : ERROR_INSUFFICIENT_BUFFER, DWORD{0});
    }
    const std::size_t written = copyTruncated(path, buffer, size);
    return written == path.size() ? static_cast<DWORD>(written)
                                  : failWith(ERROR_INSUFFICIENT_BUFFER, size);
}

// On success *size becomes the units without the terminator plus countedTerminators; on failure the
// capacity needed, terminator included.
BOOL copyName(const std::wstring& name, wchar_t* buffer, DWORD* size, DWORD tooSmallError,
              DWORD countedTerminators) {
    const auto needed = static_cast<DWORD>(name.size() + 1);
    const DWORD capacity = std::exchange(*size, needed);
    if (!buffer || capacity < needed) {
        return failWith(tooSmallError, FALSE);
    }
    copyTruncated(name, buffer, capacity);
    *size = needed - 1 + countedTerminators;
    return TRUE;
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size) {
    if (module) { // only the executable is supported
        return failWith(errorInvalidParameter, DWORD{0});
    }
    return guarded(DWORD{0}, [&] { return copyModuleName(buffer, size); });
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    if (format != ComputerNameDnsFullyQualified || !size) {
        return failWith(errorInvalidParameter, FALSE);
    }
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        return copyName(utf8ToWide(fullyQualifiedHostName()), buffer, size, ERROR_MORE_DATA, 0);
    });
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    if (!size) {
        return failWith(errorInvalidParameter, FALSE);
    }
    return guarded(BOOL{FALSE}, [&]() -> BOOL {
        return copyName(utf8ToWide(effectiveUserName()), buffer, size, ERROR_INSUFFICIENT_BUFFER,
                        1);
    });
}

} // namespace VexaSsl::platform
