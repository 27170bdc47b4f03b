#include "platform/openssl/stores/Store.h"

#include "platform/linux/base/HandleTable.h"
#include "platform/openssl/stores/SubjectText.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

using StoreTable = linux::HandleTable<Store>;

StoreEntry entryOf(const CertificatePointer& certificate) {
    std::vector<std::string> usages;
    const bool hasUsages = readUsages(certificate->x509(), usages);
    return {certificate, foldCase(subjectText(certificate->x509())), std::move(usages), hasUsages};
}

} // namespace

StoreContent::StoreContent(const std::vector<CertificatePointer>& certificates) {
    for (const CertificatePointer& certificate : certificates) {
        add(certificate);
    }
}

void StoreContent::add(const CertificatePointer& certificate) {
    entries.push_back(entryOf(certificate));
}

HCERTSTORE Store::open(const std::shared_ptr<Store>& store) {
    store->handle = StoreTable::instance().add(store);
    return store->handle;
}

HCERTSTORE Store::open(StoreContentPointer content) {
    return open(std::make_shared<Store>(std::move(content)));
}

HCERTSTORE Store::openInMemory() {
    auto content = std::make_shared<StoreContent>(std::vector<CertificatePointer>());
    const auto store = std::make_shared<Store>(content);
    store->mutableContent = std::move(content);
    return open(store);
}

std::shared_ptr<Store> Store::of(HCERTSTORE handle) {
    return StoreTable::instance().find(handle);
}

std::shared_ptr<Store> Store::close(HCERTSTORE handle) {
    return StoreTable::instance().take(handle);
}

Context::Context(CertificatePointer certificate, std::shared_ptr<Store> store, std::size_t position)
    : certificate(std::move(certificate)), store(std::move(store)), position(position) {
    dwCertEncodingType = X509_ASN_ENCODING;
    pbCertEncoded = this->certificate->encoded().pbData;
    cbCertEncoded = this->certificate->encoded().cbData;
    pCertInfo = this->certificate->info();
    if (this->store) {
        hCertStore = this->store->handle;
        ++this->store->contextsHeld;
    }
}

Context::~Context() {
    if (store && --store->contextsHeld == 0 && store->closesWithLastContext) {
        Store::close(store->handle);
    }
}

} // namespace VexaSsl::openssl
