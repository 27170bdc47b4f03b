// The owner of one security context of the platform. An empty one is two zero words, which the
// platform treats as no context when they are passed by address. (Not an OwnedHandle: the platform
// creates the context in place, so only the words show whether there is one.)
//
// Threads: address() may be used by one EncryptMessage and one DecryptMessage at the same time.
#pragma once

#include "platform/contract/SecuritySupport.h"

#include <utility>

namespace VexaSsl {

class SecurityContext {
public:
    SecurityContext() = default;
    SecurityContext(SecurityContext&& other) noexcept
        : handle(std::exchange(other.handle, CtxtHandle{})) {}
    SecurityContext& operator=(SecurityContext&& other) noexcept {
        SecurityContext taken(std::move(other));
        std::swap(handle, taken.handle);
        return *this;
    }
    SecurityContext(const SecurityContext&) = delete;
    SecurityContext& operator=(const SecurityContext&) = delete;
    ~SecurityContext() {
        if (isPresent()) {
            platform::DeleteSecurityContext(&handle);
        }
    }

    // One non-zero word is a context.
    bool isPresent() const noexcept { return handle.dwLower != 0 || handle.dwUpper != 0; }

    // For calls of the platform; a context stored here is owned.
    CtxtHandle* address() noexcept { return &handle; }

private:
    CtxtHandle handle{};
};

} // namespace VexaSsl
