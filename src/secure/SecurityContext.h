// The sole owner of one security context of the platform. An empty one is two zero words, which the
// platform takes for "no context" when it is passed by address. (No OwnedHandle: the platform makes
// the context in place, so only the words themselves tell whether there is one.)
//
// A handshake makes one locally, lets the platform fill it through address(), and moves it into the
// record when the peer has been accepted; whoever holds it last deletes it.
//
// Threads: address() may be used by one EncryptMessage and one DecryptMessage at once.
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

    // One non-zero word is enough to make a context.
    bool isPresent() const noexcept { return handle.dwLower != 0 || handle.dwUpper != 0; }

    // For the platform's calls. What they store here is owned from then on.
    CtxtHandle* address() noexcept { return &handle; }

private:
    CtxtHandle handle{};
};

} // namespace VexaSsl
