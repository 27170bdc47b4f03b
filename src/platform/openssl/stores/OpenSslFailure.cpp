#include "platform/openssl/stores/OpenSslFailure.h"

#include "VexaPlatform/SecurityFailure.h"

#include <openssl/err.h>

#include <cstdio>
#include <new>
#include <string>

namespace VexaSsl::openssl {
namespace {

// Kept without memory of its own, since it may be memory that is short. A longer text is cut.
thread_local char kept[512];

} // namespace

void keepFailureOf(const char* call) noexcept {
    const char* data = "";
    int flags = 0;
    const unsigned long error = ERR_peek_error_all(nullptr, nullptr, nullptr, &data, &flags);
    if (error == 0) {
        std::snprintf(kept, sizeof kept, "%s: OpenSSL gives no reason", call);
        return;
    }
    char reason[256];
    ERR_error_string_n(error, reason, sizeof reason);
    const bool hasData = (flags & ERR_TXT_STRING) != 0 && *data != '\0';
    std::snprintf(kept, sizeof kept, hasData ? "%s: %s (%s)" : "%s: %s", call, reason, data);
}

void forgetFailure() noexcept {
    kept[0] = '\0';
}

void throwFailureOf(const char* call) {
    keepFailureOf(call);
    while (const unsigned long error = ERR_get_error()) {
        if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
            forgetFailure();
            throw std::bad_alloc();
        }
    }
    throw OpenSslFailure();
}

} // namespace VexaSsl::openssl

std::string VexaSsl::platform::lastSecurityFailure() {
    return openssl::kept;
}
