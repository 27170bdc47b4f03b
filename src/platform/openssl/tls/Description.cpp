#include "VexaPlatform/Description.h"

#include <openssl/crypto.h>
#include <openssl/opensslv.h>

namespace VexaSsl::platform {

Description describePlatform() {
    return {OpenSSL_version(OPENSSL_VERSION), OPENSSL_VERSION_TEXT};
}

} // namespace VexaSsl::platform
