#include "platform/openssl/stores/CertificateObject.h"

#include "platform/openssl/stores/Store.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

bool contains(const std::vector<X509*>& list, X509* certificate) {
    return std::any_of(list.begin(), list.end(),
                       [certificate](X509* other) { return X509_cmp(certificate, other) == 0; });
}

// Returns the chain as it was sent, with the leaf in front if the chain doesn't contain it.
std::vector<X509*> certificatesAsSent(X509* leaf, const STACK_OF(X509) * chain) {
    std::vector<X509*> all;
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        all.push_back(sk_X509_value(chain, i));
    }
    if (!contains(all, leaf)) {
        all.insert(all.begin(), leaf);
    }
    return all;
}

CertificatePointer makeLeaf(X509* leaf, const std::vector<X509*>& all) {
    KeyAndChain keyAndChain;
    for (X509* other : all) {
        if (X509_cmp(leaf, other) != 0) {
            keyAndChain.extraCertificates.push_back(sharedReference(other));
        }
    }
    return std::make_shared<const Certificate>(sharedReference(leaf), std::move(keyAndChain));
}

} // namespace

X509* x509Of(PCCERT_CONTEXT certificate) {
    return Context::of(certificate).certificate->x509();
}

KeyState keyStateOf(PCCERT_CONTEXT certificate) {
    return Context::of(certificate).certificate->keyState();
}

EVP_PKEY* privateKeyOf(PCCERT_CONTEXT certificate) {
    return Context::of(certificate).certificate->key();
}

const std::vector<X509*>& extraCertificatesOf(PCCERT_CONTEXT certificate) {
    return Context::of(certificate).certificate->extraCertificates();
}

PCCERT_CONTEXT newConnectionContext(X509* leaf, const STACK_OF(X509) * chain) {
    const ErrorQueueGuard errors;
    const std::vector<X509*> all = certificatesAsSent(leaf, chain);
    const CertificatePointer leafCertificate = makeLeaf(leaf, all);
    std::vector<CertificatePointer> certificates;
    std::size_t position = 0;
    for (X509* certificate : all) {
        const bool isLeaf = X509_cmp(leaf, certificate) == 0;
        if (isLeaf) {
            position = certificates.size();
        }
        certificates.push_back(isLeaf ? leafCertificate
                                      : std::make_shared<const Certificate>(
                                            sharedReference(certificate), KeyAndChain{}));
    }
    const auto store = std::make_shared<Store>(std::make_shared<const StoreContent>(certificates));
    store->closesWithLastContext = true;
    auto context = std::make_unique<Context>(leafCertificate, store, position);
    context->hCertStore = Store::open(store);
    return context.release();
}

} // namespace VexaSsl::openssl
