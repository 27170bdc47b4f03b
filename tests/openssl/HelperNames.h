// The names of the certificates that are sent with another one.
#pragma once

#include "openssl/CertificateFolderTest.h"

#include "platform/openssl/stores/CertificateObject.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

inline std::vector<std::wstring> namesOfHelpers(PCCERT_CONTEXT certificate) {
    std::vector<std::wstring> names;
    for (X509* helper : openssl::extraCertificatesOf(certificate)) {
        names.push_back(
            displayName(HeldContext(openssl::newConnectionContext(helper, nullptr)).get()));
    }
    return names;
}

} // namespace VexaSsl::test
