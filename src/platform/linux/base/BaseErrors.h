// Base error numbers of Windows that only the inside of the binding names, and the guard that turns
// an exhausted heap into one of them.
#pragma once

#include "BaseShapes.h"
#include "platform/linux/base/LastError.h"

#include <new>
#include <system_error>

namespace VexaSsl::linux {

inline constexpr DWORD errorFileNotFound = 2;
inline constexpr DWORD errorTooManyOpenFiles = 4;
inline constexpr DWORD errorNotEnoughMemory = 8;
inline constexpr DWORD errorNotSupported = 50;
inline constexpr DWORD errorInvalidParameter = 87;
inline constexpr DWORD errorInvalidFlags = 1004;
inline constexpr DWORD errorCancelled = 1223;
inline constexpr DWORD errorInvalidWindowHandle = 1400;
inline constexpr DWORD invalidArgument = 0x80070057; // E_INVALIDARG

inline void setLastError(DWORD error) noexcept {
    lastErrorSlot() = static_cast<int>(error);
}

// Sets the last error and gives the value that tells the caller of it.
template <class Result>
Result failWith(DWORD error, Result result) noexcept {
    setLastError(error);
    return result;
}

// Runs operation behind a platform function, none of which throws. Result: the operation's, or
// failure with ERROR_NOT_ENOUGH_MEMORY when it ran out of memory or of a system resource.
template <class Result, class Operation>
Result guarded(Result failure, Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return failWith(errorNotEnoughMemory, failure);
    } catch (const std::system_error&) {
        return failWith(errorNotEnoughMemory, failure);
    }
}

} // namespace VexaSsl::linux
