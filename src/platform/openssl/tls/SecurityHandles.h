// CredHandle and CtxtHandle values. A value is never reused, so released and invalid handles are
// always recognised. Any thread.
#pragma once

#include "SecurityShapes.h"
#include "platform/linux/base/HandleTable.h"
#include <memory>

namespace VexaSsl::openssl {

// The second word of every handle; a handle without it is invalid.
inline constexpr ULONG_PTR handleTag = 0x56784853;

inline bool isNull(const SecHandle* handle) noexcept {
    return !handle || (handle->dwLower == 0 && handle->dwUpper == 0);
}

template <class T>
SecHandle addHandle(std::shared_ptr<T> object) {
    const HANDLE number = linux::HandleTable<T>::instance().add(std::move(object));
    return {.dwLower = reinterpret_cast<ULONG_PTR>(number), .dwUpper = handleTag};
}

// Returns null for an invalid handle.
template <class T>
std::shared_ptr<T> objectOf(const SecHandle* handle) {
    if (!handle || handle->dwUpper != handleTag) {
        return nullptr;
    }
    return linux::HandleTable<T>::instance().find(reinterpret_cast<HANDLE>(handle->dwLower));
}

// Makes the handle invalid. The object is destroyed when the last call on it has returned.
template <class T>
SECURITY_STATUS removeHandle(const SecHandle* handle) {
    if (!handle || handle->dwUpper != handleTag) {
        return SEC_E_INVALID_HANDLE;
    }
    const auto object =
        linux::HandleTable<T>::instance().take(reinterpret_cast<HANDLE>(handle->dwLower));
    return object ? SEC_E_OK : SEC_E_INVALID_HANDLE;
}

} // namespace VexaSsl::openssl
