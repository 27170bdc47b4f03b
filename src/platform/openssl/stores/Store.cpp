#include "platform/openssl/stores/Store.h"

#include "platform/openssl/stores/SubjectText.h"
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

StoreEntry entryOf(const CertificatePointer& certificate) {
    StoreEntry entry{certificate, foldCase(subjectText(certificate->x509())), {}, false};
    entry.hasUsages = readUsages(certificate->x509(), entry.usages);
    return entry;
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

std::shared_ptr<Store> makeStore(StoreContentPointer content) {
    auto store = std::make_shared<Store>(std::move(content));
    store->self = store;
    return store;
}

HCERTSTORE Store::open(StoreContentPointer content) {
    const std::shared_ptr<Store> store = makeStore(std::move(content));
    store->handleReference = store;
    return store.get();
}

HCERTSTORE Store::openInMemory() {
    auto content = std::make_shared<StoreContent>(std::vector<CertificatePointer>());
    const HCERTSTORE handle = open(content);
    static_cast<Store*>(handle)->mutableContent = std::move(content);
    return handle;
}

std::shared_ptr<Store> Store::of(HCERTSTORE handle) noexcept {
    constexpr ULONG_PTR invalidHandleValue = ~ULONG_PTR{0};
    if (!handle || reinterpret_cast<ULONG_PTR>(handle) == invalidHandleValue) {
        return nullptr;
    }
    return static_cast<Store*>(handle)->self.lock();
}

bool Store::close(HCERTSTORE handle) noexcept {
    const std::shared_ptr<Store> store = of(handle);
    if (!store) {
        return true;
    }
    store->handleReference.reset();
    return store->contextsHeld == 0;
}

Context::Context(CertificatePointer certificate, std::shared_ptr<Store> store, std::size_t position)
    : certificate(std::move(certificate)), store(std::move(store)), position(position) {
    dwCertEncodingType = X509_ASN_ENCODING;
    pbCertEncoded = this->certificate->encoded().pbData;
    cbCertEncoded = this->certificate->encoded().cbData;
    pCertInfo = this->certificate->info();
    hCertStore = this->store.get();
    if (this->store) {
        ++this->store->contextsHeld;
    }
}

Context::~Context() {
    if (store) {
        --store->contextsHeld;
    }
}

} // namespace VexaSsl::openssl
