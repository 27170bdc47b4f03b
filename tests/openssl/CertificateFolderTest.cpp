#include "openssl/CertificateFolderTest.h"

#include <grp.h>
#include <unistd.h>

namespace VexaSsl::test {

bool becomeUnprivileged() {
    constexpr uid_t nobody = 65534;
    if (geteuid() != 0) {
        return true;
    }
    return setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
}

} // namespace VexaSsl::test
