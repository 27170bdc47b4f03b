#include "contract/support/TestCertificates.h"

#include "CertificateFolder.h"
#include "VexaPlatform/Certificates.h"
#include "platform/contract/CryptoApi.h"

#include <cstdlib>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

// The subject is "case <name>", in most cases followed by a common name.
PCCERT_CONTEXT findCase(HCERTSTORE store, const std::string& name) {
    const std::wstring start = L"case " + std::wstring(name.begin(), name.end());
    for (const std::wstring& text : {start + L", ", start}) {
        if (PCCERT_CONTEXT found = platform::CertFindCertificateInStore(
                store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W,
                text.c_str(), nullptr)) {
            return found;
        }
    }
    throw std::runtime_error("no certificate " + name);
}

} // namespace

std::filesystem::path certificatesFolder() {
    const std::filesystem::path folder = VEXASSL_TEST_PKI;
    if (!std::filesystem::exists(folder / "all" / "other-key" / "chain.pem")) {
        std::string command = VEXASSL_MAKE_CERTIFICATES;
        command += " '" + folder.string() + "'";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("cannot make the certificates");
        }
    }
    return folder;
}

std::string certificateFile(const std::string& name, const std::string& kind) {
    return (certificatesFolder() / "all" / name / (kind + ".pem")).string();
}

ScopedCertificateFolder::ScopedCertificateFolder(const std::filesystem::path& folder)
    : former(platform::certificateFolder()) {
    platform::setCertificateFolder(folder);
}

ScopedCertificateFolder::~ScopedCertificateFolder() {
    platform::setCertificateFolder(former);
}

struct ScopedCertificates::State {
    ScopedCertificateFolder folder;
};

ScopedCertificates::ScopedCertificates() : state(std::make_unique<State>()) {}

ScopedCertificates::~ScopedCertificates() = default;

StoreCertificate::StoreCertificate(const std::string& name)
    : store(platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                    CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG |
                                        CERT_STORE_OPEN_EXISTING_FLAG,
                                    L"MY")),
      certificate(findCase(store, name)) {}

StoreCertificate::~StoreCertificate() {
    platform::CertFreeCertificateContext(certificate);
    platform::CertCloseStore(store, 0);
}

} // namespace VexaSsl::test
