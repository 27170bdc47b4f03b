// CredHandle and CtxtHandle as numbers that are never used twice: a handle that was released, and
// one that never was, are told from every valid one. Any thread.
#pragma once

#include "SecurityShapes.h"
#include "platform/linux/base/HandleTable.h"
#include <memory>

namespace VexaSsl::openssl {

// The second word of every handle, so that no half of one passes for a whole.
inline constexpr ULONG_PTR handleMark = 0x56784853;

inline bool isNone(const SecHandle* handle) noexcept {
    return !handle || (handle->dwLower == 0 && handle->dwUpper == 0);
}

template <class T>
SecHandle addHandle(std::shared_ptr<T> object) {
    const HANDLE number = linux::HandleTable<T>::instance().add(std::move(object));
    return {.dwLower = reinterpret_cast<ULONG_PTR>(number), .dwUpper = handleMark};
}

// Null for a handle that stands for nothing.
template <class T>
std::shared_ptr<T> objectOf(const SecHandle* handle) {
    if (!handle || handle->dwUpper != handleMark) {
        return nullptr;
    }
    return linux::HandleTable<T>::instance().find(reinterpret_cast<HANDLE>(handle->dwLower));
}

// The handle stands for nothing from now on. The object goes when the last call on it has ended.
template <class T>
SECURITY_STATUS dropHandle(const SecHandle* handle) {
    if (!handle || handle->dwUpper != handleMark) {
        return SEC_E_INVALID_HANDLE;
    }
    const auto object =
        linux::HandleTable<T>::instance().take(reinterpret_cast<HANDLE>(handle->dwLower));
    return object ? SEC_E_OK : SEC_E_INVALID_HANDLE;
}

} // namespace VexaSsl::openssl
