#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"

#include <grp.h>
#include <unistd.h>

namespace VexaSsl::test {

bool becomeUnprivileged() {
    constexpr uid_t unprivilegedUser = 65534;
    if (geteuid() != 0) {
        return true;
    }
    return setgroups(0, nullptr) == 0 && setgid(unprivilegedUser) == 0 &&
           setuid(unprivilegedUser) == 0;
}

bool hasAnchor(const Issued& authority) {
    const auto anchors = openssl::trustStore();
    STACK_OF(X509_OBJECT)* objects = X509_STORE_get0_objects(anchors.get());
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        const X509* anchor = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
        if (anchor && X509_cmp(anchor, authority.certificate.get()) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace VexaSsl::test
