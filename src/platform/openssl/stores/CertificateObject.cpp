#include "platform/openssl/stores/CertificateObject.h"

#include "platform/openssl/stores/Store.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

bool holds(const std::vector<X509*>& list, X509* certificate) {
    return std::any_of(list.begin(), list.end(),
                       [certificate](X509* other) { return X509_cmp(certificate, other) == 0; });
}

// The chain as it was sent, with the leaf in front if it isn't in there.
std::vector<X509*> storeOrder(X509* leaf, const STACK_OF(X509) * chain) {
    std::vector<X509*> all;
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        all.push_back(sk_X509_value(chain, i));
    }
    if (!holds(all, leaf)) {
        all.insert(all.begin(), leaf);
    }
    return all;
}

CertificatePointer makeLeaf(X509* leaf, const std::vector<X509*>& all) {
    Companions companions;
    for (X509* other : all) {
        if (X509_cmp(leaf, other) != 0) {
            companions.helpers.push_back(sharedReference(other));
        }
    }
    return std::make_shared<const Certificate>(sharedReference(leaf), std::move(companions));
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

const std::vector<X509*>& helpersOf(PCCERT_CONTEXT certificate) {
    return Context::of(certificate).certificate->helpers();
}

PCCERT_CONTEXT contextOfPeer(X509* leaf, const STACK_OF(X509) * chain) {
    const ErrorQueueGuard errors;
    const std::vector<X509*> all = storeOrder(leaf, chain);
    const CertificatePointer shown = makeLeaf(leaf, all);
    std::vector<CertificatePointer> certificates;
    std::size_t position = 0;
    for (X509* certificate : all) {
        const bool isLeaf = X509_cmp(leaf, certificate) == 0;
        if (isLeaf) {
            position = certificates.size();
        }
        certificates.push_back(isLeaf ? shown
                                      : std::make_shared<const Certificate>(
                                            sharedReference(certificate), Companions{}));
    }
    auto store = makeStore(std::make_shared<const StoreContent>(certificates));
    return new Context(shown, std::move(store), position);
}

} // namespace VexaSsl::openssl
