#include "integration/support/Pki.h"
#include "integration/support/System.h"

#include <gtest/gtest.h>

#include <wincrypt.h>

namespace VexaSsl::test::pki {

// There is only the machine's store.
void use(const std::filesystem::path&) {}

// fill_stores, which ctest runs before the tests, creates the certificates in the machine's stores.
void useTestCertificates() {
    const HCERTSTORE store =
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                      CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG, L"MY");
    ASSERT_NE(store, nullptr);
    const PCCERT_CONTEXT found = CertFindCertificateInStore(
        store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W,
        std::wstring(localhost.begin(), localhost.end()).c_str(), nullptr);
    EXPECT_NE(found, nullptr) << "the personal store is empty; run fill_stores "
                              << folder().string();
    CertFreeCertificateContext(found);
    CertCloseStore(store, 0);
}

} // namespace VexaSsl::test::pki
