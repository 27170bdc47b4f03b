// The personal store is a folder of files, and so are the trust anchors.
#include "contract/support/StoreContents.h"

#include "CertificateFiles.h"
#include "platform/contract/CryptoApi.h"

namespace VexaSsl::test {

struct StoreContents::State {
    TemporaryCertificateFolder folder;
};

StoreContents::StoreContents() : state(std::make_unique<State>()) {}

StoreContents::~StoreContents() = default;

void StoreContents::install(const std::string& name, const Issued& issued) {
    state->folder.install(name + ".pem", issued);
}

void StoreContents::uninstall(const std::string& name) {
    state->folder.remove("my/" + name + ".pem");
}

void StoreContents::trust(const std::string& name, const Issued& issued) {
    state->folder.write("root/" + name + ".pem", pem(issued));
}

void StoreContents::distrust(const std::string& name) {
    state->folder.remove("root/" + name + ".pem");
}

bool belongsToTheTest(PCCERT_CONTEXT) {
    return true; // the folder holds nothing else
}

PCCERT_CONTEXT makeContext(const Issued& issued, const std::vector<const Issued*>& helpers) {
    const TemporaryCertificateFolder folder;
    folder.install("certificate.pem", issued, helpers);
    const HCERTSTORE store = platform::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                                     CERT_SYSTEM_STORE_LOCAL_MACHINE, L"MY");
    const PCCERT_CONTEXT made = platform::CertEnumCertificatesInStore(store, nullptr);
    platform::CertCloseStore(store, 0);
    return made;
}

} // namespace VexaSsl::test
