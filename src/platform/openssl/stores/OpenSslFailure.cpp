#include "platform/openssl/stores/OpenSslFailure.h"

#include "VexaPlatform/SecurityFailure.h"

#include <openssl/err.h>

#include <cstdio>
#include <new>
#include <string>

namespace VexaSsl::openssl {
namespace {

// An array, as allocating could fail. A longer text is truncated.
thread_local char lastFailure[512];

} // namespace

void recordFailure(const char* call) noexcept {
    const char* data = "";
    int flags = 0;
    const unsigned long error = ERR_peek_error_all(nullptr, nullptr, nullptr, &data, &flags);
    if (error == 0) {
        std::snprintf(lastFailure, sizeof lastFailure, "%s: OpenSSL gives no reason", call);
        return;
    }
    char reason[256];
    ERR_error_string_n(error, reason, sizeof reason);
    const bool hasData = (flags & ERR_TXT_STRING) != 0 && *data != '\0';
    std::snprintf(lastFailure, sizeof lastFailure, hasData ? "%s: %s (%s)" : "%s: %s", call, reason,
                  data);
}

void clearFailure() noexcept {
    lastFailure[0] = '\0';
}

void throwFailure(const char* call) {
    recordFailure(call);
    while (const unsigned long error = ERR_get_error()) {
        if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
            clearFailure();
            throw std::bad_alloc();
        }
    }
    throw OpenSslFailure();
}

} // namespace VexaSsl::openssl

std::string VexaSsl::platform::lastSecurityFailure() {
    return openssl::lastFailure;
}
