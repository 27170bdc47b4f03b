#include "platform/contract/WindowsBase.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/linux/base/ErrorTexts.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace VexaSsl::linux {
namespace {

constexpr DWORD errorMessageNotFound = 317;

// FormatMessageW ends a text with a line end, or with FORMAT_MESSAGE_MAX_WIDTH_MASK with a space.
const wchar_t* endOfText(DWORD flags) noexcept {
    const bool onOneLine = (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) == FORMAT_MESSAGE_MAX_WIDTH_MASK;
    return onOneLine ? L" " : L"\r\n";
}

void write(wchar_t* buffer, const wchar_t* text, const wchar_t* end) noexcept {
    std::wcscpy(buffer, text);
    std::wcscat(buffer, end);
}

DWORD writeAllocated(const wchar_t* text, const wchar_t* end, wchar_t* buffer, DWORD size) {
    const std::size_t length = std::wcslen(text) + std::wcslen(end);
    const std::size_t capacity = std::max<std::size_t>(length + 1, size);
    auto* allocated = static_cast<wchar_t*>(std::malloc(capacity * sizeof(wchar_t)));
    if (!allocated) {
        return failWith(errorNotEnoughMemory, DWORD{0});
    }
    write(allocated, text, end);
    std::memcpy(buffer, &allocated, sizeof allocated);
    return static_cast<DWORD>(length);
}

DWORD writeInPlace(const wchar_t* text, const wchar_t* end, wchar_t* buffer, DWORD size) noexcept {
    const std::size_t length = std::wcslen(text) + std::wcslen(end);
    if (length >= size) {
        return failWith(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
    }
    write(buffer, text, end);
    return static_cast<DWORD>(length);
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

using namespace linux;

// Only FORMAT_MESSAGE_FROM_SYSTEM is supported. The texts exist in one language and have no
// inserts, so FORMAT_MESSAGE_IGNORE_INSERTS makes no difference.
DWORD FormatMessageW(DWORD flags, const void*, DWORD code, DWORD, wchar_t* buffer, DWORD size,
                     va_list*) {
    if (!buffer) {
        return failWith(errorInvalidParameter, DWORD{0});
    }
    const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    if (allocate) {
        const wchar_t* none = nullptr;
        std::memcpy(buffer, &none, sizeof none);
    }
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM)) {
        return failWith(errorInvalidParameter, DWORD{0});
    }
    const wchar_t* text = errorText(code);
    if (!text) {
        return failWith(errorMessageNotFound, DWORD{0});
    }
    return allocate ? writeAllocated(text, endOfText(flags), buffer, size)
                    : writeInPlace(text, endOfText(flags), buffer, size);
}

HLOCAL LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

} // namespace VexaSsl::platform
