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

// Pointers identify the objects: a cached SSL_CTX holds references to the last three, so no other
// object can have their addresses.
struct CacheKey {
    Role role = Role::client;
    const X509* certificate = nullptr;
    const EVP_PKEY* key = nullptr;
    const X509_STORE* anchors = nullptr;

    bool operator==(const CacheKey&) const = default;
};

SslContextPointer newReference(SSL_CTX* context) {
    SSL_CTX_up_ref(context);
    return SslContextPointer(context);
}

class ContextCache {
public:
    SslContextPointer find(const CacheKey& key) {
        const std::lock_guard lock(mutex);
        const auto entry =
            std::find_if(entries.begin(), entries.end(),
                         [&key](const Entry& candidate) { return candidate.key == key; });
        if (entry == entries.end()) {
            return nullptr;
        }
        std::rotate(entry, entry + 1, entries.end());
        return newReference(entries.back().context.get());
    }

    void add(const CacheKey& key, SSL_CTX* context) {
        SslContextPointer evicted; // freed after the lock is released
        const std::lock_guard lock(mutex);
        entries.push_back({key, newReference(context)});
        if (entries.size() > contextCacheLimit) {
            evicted = std::move(entries.front().context);
            entries.erase(entries.begin());
        }
    }

    // Never destroyed: OpenSSL cleans up at exit before static objects are destroyed.
    static ContextCache& instance() {
        static ContextCache& cache = *new ContextCache;
        return cache;
    }

private:
    struct Entry {
        CacheKey key;
        SslContextPointer context;
    };

    std::mutex mutex;
    std::vector<Entry> entries; // the most recently used at the back
};

} // namespace

// Two threads may create the same context at once; both are cached, and one of them is evicted
// later.
SECURITY_STATUS findSslContext(Role role, PCCERT_CONTEXT certificate, SslContextPointer& found) {
    // A server validates no certificate in the handshake, so it needs no trust anchors.
    const std::shared_ptr<X509_STORE> anchors = role == Role::client ? trustStore() : nullptr;
    const CacheKey key{.role = role,
                       .certificate = certificate ? x509Of(certificate) : nullptr,
                       .key = certificate ? privateKeyOf(certificate) : nullptr,
                       .anchors = anchors.get()};
    found = ContextCache::instance().find(key);
    if (found) {
        return SEC_E_OK;
    }
    SslContextPointer context;
    const SECURITY_STATUS status = makeSslContext(role, certificate, anchors.get(), context);
    if (status != SEC_E_OK) {
        return status;
    }
    ContextCache::instance().add(key, context.get());
    found = std::move(context);
    return SEC_E_OK;
}

} // namespace VexaSsl::openssl
