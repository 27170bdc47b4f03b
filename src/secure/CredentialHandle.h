// Owns one credential of the security package, from AcquireCredentialsHandleW to
// FreeCredentialsHandle. Made on the heap and held by one std::unique_ptr; it never moves, because
// the package is given its address. The credential may be used by several threads, its owner
// belongs to one.
#pragma once

#include "platform/SecuritySupport.h"

namespace VexaSsl {

struct CredentialHandle {
    CredentialHandle() = default;
    ~CredentialHandle() {
        if (valid) {
            platform::FreeCredentialsHandle(&handle);
            valid = false;
        }
    }
    CredentialHandle(const CredentialHandle&) = delete;
    CredentialHandle& operator=(const CredentialHandle&) = delete;

    CredHandle handle{};
    bool valid = false; // handle is a live credential and will be freed
};

} // namespace VexaSsl
