#include "security/TlsLibrary.h"

#include "certificates/OpenSslOwners.h"

#include <openssl/core_dispatch.h>
#include <openssl/provider.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace VexaSsl::portable {
namespace {

using LibraryPointer = std::unique_ptr<OSSL_LIB_CTX, Release<OSSL_LIB_CTX_free>>;
using ProviderPointer = std::unique_ptr<OSSL_PROVIDER, Release<OSSL_PROVIDER_unload>>;

// Whatever a signature of a certificate may be made with.
constexpr std::string_view digests[] = {"SHA1",     "SHA2-224",   "SHA2-256", "SHA2-384",
                                        "SHA2-512", "SHA3-224",   "SHA3-256", "SHA3-384",
                                        "SHA3-512", "RIPEMD-160", "MD5",      "MD5-SHA1"};
// The suites', and what random numbers are made with.
constexpr std::string_view ciphers[] = {"AES-128-GCM", "AES-256-GCM", "ChaCha20-Poly1305",
                                        "AES-256-CTR"};
constexpr std::string_view randomNumbers[] = {"CTR-DRBG", "SEED-SRC"};
constexpr std::string_view authenticationCodes[] = {"HMAC"};
constexpr std::string_view derivations[] = {"TLS1-PRF"};
constexpr std::string_view exchanges[] = {"ECDH", "X25519", "X448"};
constexpr std::string_view signatures[] = {"RSA", "ECDSA", "ED25519", "ED448", "DSA"};
// Those of certificates, which all can sign, and those of the exchanges.
constexpr std::string_view keys[] = {"RSA",   "RSA-PSS", "EC",     "ED25519",
                                     "ED448", "DSA",     "X25519", "X448"};
constexpr std::string_view decoders[] = {"RSA", "RSA-PSS", "EC", "ED25519", "ED448", "DSA", "DER"};

// What is shown of the default provider, by the first of an algorithm's names. An operation that
// isn't here has no algorithms at all.
struct Offer {
    int operation;
    std::span<const std::string_view> names;
};
constexpr Offer offers[] = {
    {OSSL_OP_DIGEST, digests},          {OSSL_OP_CIPHER, ciphers},  {OSSL_OP_RAND, randomNumbers},
    {OSSL_OP_MAC, authenticationCodes}, {OSSL_OP_KDF, derivations}, {OSSL_OP_KEYEXCH, exchanges},
    {OSSL_OP_SIGNATURE, signatures},    {OSSL_OP_KEYMGMT, keys},    {OSSL_OP_DECODER, decoders},
};

std::string_view firstNameOf(const OSSL_ALGORITHM& algorithm) noexcept {
    const std::string_view names = algorithm.algorithm_names;
    return names.substr(0, names.find(':'));
}

// Of the decoders those of a certificate's key.
bool fitsOperation(int operation, const OSSL_ALGORITHM& algorithm) noexcept {
    const std::string_view properties = algorithm.property_definition;
    return operation != OSSL_OP_DECODER ||
           (properties.find("input=der") != properties.npos &&
            properties.find("structure=SubjectPublicKeyInfo") != properties.npos);
}

bool isShown(const Offer& offer, const OSSL_ALGORITHM& algorithm) noexcept {
    const bool isNamed = std::find(offer.names.begin(), offer.names.end(),
                                   firstNameOf(algorithm)) != offer.names.end();
    return isNamed && fitsOperation(offer.operation, algorithm);
}

// The default provider, in a library context of its own that the algorithms themselves work in, and
// the part that is shown. Unchanged once made.
class NarrowProvider {
public:
    // Throws std::bad_alloc, also when OpenSSL has no default provider to load.
    NarrowProvider()
        : library(orOutOfMemory(LibraryPointer(OSSL_LIB_CTX_new()))),
          whole(orOutOfMemory(ProviderPointer(OSSL_PROVIDER_load(library.get(), "default")))) {
        for (const Offer& offer : offers) {
            shown.push_back({offer.operation, algorithmsOf(offer)});
        }
    }

    const OSSL_ALGORITHM* query(int operation) const noexcept {
        const auto found = std::find_if(shown.begin(), shown.end(), [operation](const Part& part) {
            return part.operation == operation;
        });
        return found == shown.end() ? nullptr : found->algorithms.data();
    }
    OSSL_PROVIDER* wholeProvider() const noexcept { return whole.get(); }

private:
    struct Part {
        int operation;
        std::vector<OSSL_ALGORITHM> algorithms; // the last one without a name
    };

    std::vector<OSSL_ALGORITHM> algorithmsOf(const Offer& offer) const {
        std::vector<OSSL_ALGORITHM> algorithms;
        int mustNotBeKept = 0;
        const OSSL_ALGORITHM* next =
            OSSL_PROVIDER_query_operation(whole.get(), offer.operation, &mustNotBeKept);
        for (; next && next->algorithm_names; ++next) {
            if (isShown(offer, *next)) {
                algorithms.push_back(*next);
            }
        }
        algorithms.push_back({});
        return algorithms;
    }

    LibraryPointer library;
    ProviderPointer whole;
    std::vector<Part> shown;
};

// One for the process: OpenSSL hands the default provider's data, not ours, to every function of
// the provider, so there is no other way to find it. Never destroyed, as OpenSSL cleans up after
// itself before static objects of ours would go.
const NarrowProvider& narrowProvider() {
    static const NarrowProvider& provider = *new NarrowProvider;
    return provider;
}

// What OpenSSL calls.
struct ProviderCalls {
    static const OSSL_ALGORITHM* query(void*, int operation, int* mustNotBeKept) noexcept {
        *mustNotBeKept = 0;
        return narrowProvider().query(operation);
    }

    // The groups of the key exchange.
    static int tellCapabilities(void*, const char* capability, OSSL_CALLBACK* tell,
                                void* argument) noexcept {
        return OSSL_PROVIDER_get_capabilities(narrowProvider().wholeProvider(), capability, tell,
                                              argument);
    }

    static int start(const OSSL_CORE_HANDLE*, const OSSL_DISPATCH*, const OSSL_DISPATCH** calls,
                     void** data) noexcept {
        static const OSSL_DISPATCH table[] = {
            {OSSL_FUNC_PROVIDER_QUERY_OPERATION, reinterpret_cast<void (*)()>(query)},
            {OSSL_FUNC_PROVIDER_GET_CAPABILITIES, reinterpret_cast<void (*)()>(tellCapabilities)},
            {0, nullptr}};
        *calls = table;
        *data = OSSL_PROVIDER_get0_provider_ctx(narrowProvider().wholeProvider());
        return 1;
    }
};

OSSL_LIB_CTX* makeLibrary() {
    constexpr char name[] = "tls-client";
    narrowProvider(); // here, where it may throw
    LibraryPointer library = orOutOfMemory(LibraryPointer(OSSL_LIB_CTX_new()));
    if (OSSL_PROVIDER_add_builtin(library.get(), name, ProviderCalls::start) != 1 ||
        !OSSL_PROVIDER_load(library.get(), name)) {
        throw std::bad_alloc();
    }
    return library.release();
}

// OpenSSL's own providers besides the default one don't offer anything that TLS uses.
int takeUsualProvider(OSSL_PROVIDER* provider, void* hasDefault) noexcept {
    const std::string_view name = OSSL_PROVIDER_get0_name(provider);
    if (name == "default") {
        *static_cast<bool*>(hasDefault) = true;
    }
    return name == "default" || name == "base" || name == "legacy";
}

bool isDefaultContextAsItComes() noexcept {
    bool hasDefault = false;
    const bool onlyUsual = OSSL_PROVIDER_do_all(nullptr, takeUsualProvider, &hasDefault) == 1;
    return onlyUsual && hasDefault && EVP_default_properties_is_fips_enabled(nullptr) == 0;
}

} // namespace

OSSL_LIB_CTX* libraryForClients() noexcept {
    if (!isDefaultContextAsItComes()) {
        return nullptr;
    }
    try {
        static OSSL_LIB_CTX* const library = makeLibrary();
        return library;
    } catch (const std::bad_alloc&) { // it only saves time
        return nullptr;
    }
}

} // namespace VexaSsl::portable
