#include "platform/openssl/tls/ContextCache.h"

#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/tls/SslSettings.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

// Pointers are enough: a kept SSL_CTX holds references to the last three, so no other object can
// come to lie at their addresses as long as it is kept.
struct CacheKey {
    Role role = Role::client;
    const X509* certificate = nullptr;
    const EVP_PKEY* key = nullptr;
    const X509_STORE* anchors = nullptr;

    bool operator==(const CacheKey&) const = default;
};

SslContextPointer anotherReference(SSL_CTX* context) {
    SSL_CTX_up_ref(context);
    return SslContextPointer(context);
}

class ContextCache {
public:
    SslContextPointer find(const CacheKey& key) {
        const std::lock_guard lock(guarding);
        const auto entry = std::find_if(entries.begin(), entries.end(),
                                        [&key](const Entry& kept) { return kept.key == key; });
        if (entry == entries.end()) {
            return nullptr;
        }
        std::rotate(entry, entry + 1, entries.end());
        return anotherReference(entries.back().context.get());
    }

    void add(const CacheKey& key, SSL_CTX* context) {
        SslContextPointer dropped; // goes when the lock is open again
        const std::lock_guard lock(guarding);
        entries.push_back({key, anotherReference(context)});
        if (entries.size() > contextCacheLimit) {
            dropped = std::move(entries.front().context);
            entries.erase(entries.begin());
        }
    }

    // Never destroyed: OpenSSL cleans up after itself before static objects of ours would go.
    static ContextCache& instance() {
        static ContextCache& cache = *new ContextCache;
        return cache;
    }

private:
    struct Entry {
        CacheKey key;
        SslContextPointer context;
    };

    std::mutex guarding;
    std::vector<Entry> entries; // the one used last at the back
};

} // namespace

// Two threads may make the same context at once; both work, and one of them is dropped in time.
SECURITY_STATUS findSslContext(Role role, PCCERT_CONTEXT certificate, SslContextPointer& found) {
    // A server judges no one inside the handshake, so it needs no anchors.
    const std::shared_ptr<X509_STORE> anchors = role == Role::client ? trustStore() : nullptr;
    const CacheKey key{.role = role,
                       .certificate = certificate ? x509Of(certificate) : nullptr,
                       .key = certificate ? privateKeyOf(certificate) : nullptr,
                       .anchors = anchors.get()};
    found = ContextCache::instance().find(key);
    if (found) {
        return SEC_E_OK;
    }
    SslContextPointer made;
    const SECURITY_STATUS status = makeSslContext(role, certificate, anchors.get(), made);
    if (status != SEC_E_OK) {
        return status;
    }
    ContextCache::instance().add(key, made.get());
    found = std::move(made);
    return SEC_E_OK;
}

} // namespace VexaSsl::openssl
