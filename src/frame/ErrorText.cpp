#include "frame/ErrorText.h"

#include "frame/DecimalText.h"
#include "frame/OwnedHandle.h"
#include "platform/contract/WindowsBase.h"
#include "platform/contract/Winsock.h"

#include <array>
#include <string>
#include <string_view>

namespace VexaSsl {

namespace {

using SystemText = OwnedHandle<wchar_t*, platform::LocalFree>;

constexpr DWORD systemTextFlags =
    FORMAT_MESSAGE_ALLOCATE_BUFFER   // the system allocates; LocalFree frees
    | FORMAT_MESSAGE_IGNORE_INSERTS  // there are no arguments
    | FORMAT_MESSAGE_FROM_SYSTEM     // the number is one of the system
    | FORMAT_MESSAGE_MAX_WIDTH_MASK; // in one line

// The longest host name and its terminator.
constexpr DWORD hostNameCapacity = 1025;

} // namespace

std::wstring systemErrorText(DWORD code) {
    wchar_t* buffer = nullptr;
    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the argument is the address of a pointer.
    platform::FormatMessageW(systemTextFlags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&buffer),
                             0, nullptr);
    const SystemText text(buffer);
    return text ? std::wstring(text.get()) : std::wstring();
}

void logSystemError(ILog& log, std::wstring_view what, DWORD code) {
    log.log(Severity::Error,
            joined({what, failedWith, DecimalText(code), L" (", systemErrorText(code), L")"}));
}

// Only a result of -1 is logged; the call reports failures as positive error numbers, so in
// practice a failed lookup only leaves the name empty. Compatibility: silent-peer-name
std::wstring peerHostName(ILog& log, const sockaddr* address, int addressLength) {
    std::array<wchar_t, hostNameCapacity> name{};
    const int result = platform::GetNameInfoW(address, addressLength, name.data(), hostNameCapacity,
                                              nullptr, 0, 0);
    if (result == SOCKET_ERROR) {
        logSystemError(log, L"GetNameInfoW", static_cast<DWORD>(platform::WSAGetLastError()));
    }
    return name.data();
}

} // namespace VexaSsl
