// Windows error codes that only the binding itself names, and the conversion of C++ exceptions to
// the last error.
#pragma once

#include "BaseShapes.h"
#include "platform/linux/base/LastError.h"

#include <exception>
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
inline constexpr DWORD errorInternalError = 1359;
inline constexpr DWORD errorInvalidWindowHandle = 1400;
inline constexpr DWORD invalidArgument = 0x80070057; // E_INVALIDARG

inline void setLastError(DWORD error) noexcept {
    lastErrorSlot() = static_cast<int>(error);
}

// Sets the last error and returns result.
template <class Result>
Result failWith(DWORD error, Result result) noexcept {
    setLastError(error);
    return result;
}

// Returns operation(). If it runs out of memory or of a system resource, returns failure and sets
// ERROR_NOT_ENOUGH_MEMORY; if it fails otherwise, ERROR_INTERNAL_ERROR. Platform functions use it
// because none of them throws.
template <class Result, class Operation>
Result guarded(Result failure, Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return failWith(errorNotEnoughMemory, failure);
    } catch (const std::system_error&) {
        return failWith(errorNotEnoughMemory, failure);
    } catch (const std::exception&) {
        return failWith(errorInternalError, failure);
    }
}

} // namespace VexaSsl::linux
