#include "platform/openssl/stores/Pkcs12Effort.h"

#include "platform/openssl/stores/OpenSslOwners.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace VexaSsl::openssl {
namespace {

constexpr std::int64_t bearable = 10'000'000; // iterations; usual files have some thousands

void releaseBags(STACK_OF(PKCS12_SAFEBAG) * bags) noexcept {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
void releaseParts(STACK_OF(PKCS7) * parts) noexcept {
    sk_PKCS7_pop_free(parts, PKCS7_free);
}

using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Release<releaseBags>>;
using Parts = std::unique_ptr<STACK_OF(PKCS7), Release<releaseParts>>;
using OldParameters = std::unique_ptr<PBEPARAM, Release<PBEPARAM_free>>;
using NewParameters = std::unique_ptr<PBE2PARAM, Release<PBE2PARAM_free>>;
using Derivation = std::unique_ptr<PBKDF2PARAM, Release<PBKDF2PARAM_free>>;

// A count that makes no sense counts as unbearable.
std::int64_t countOf(const ASN1_INTEGER* integer) {
    std::int64_t count = 0;
    const bool isCount = ASN1_INTEGER_get_int64(&count, integer) == 1 && count >= 0;
    return isCount && count <= bearable ? count : bearable + 1;
}

template <class Owner>
Owner unpack(const ASN1_ITEM* kind, const X509_ALGOR* algorithm) {
    using Parameters = typename Owner::element_type;
    int type = 0;
    const void* value = nullptr;
    X509_ALGOR_get0(nullptr, &type, &value, algorithm);
    if (type != V_ASN1_SEQUENCE) {
        return nullptr;
    }
    return Owner(
        static_cast<Parameters*>(ASN1_item_unpack(static_cast<const ASN1_STRING*>(value), kind)));
}

std::int64_t iterationsOf(const X509_ALGOR* algorithm) {
    if (!algorithm) {
        return bearable + 1;
    }
    if (OBJ_obj2nid(algorithm->algorithm) != NID_pbes2) {
        const auto old = unpack<OldParameters>(ASN1_ITEM_rptr(PBEPARAM), algorithm);
        return old ? countOf(old->iter) : bearable + 1;
    }
    const auto parameters = unpack<NewParameters>(ASN1_ITEM_rptr(PBE2PARAM), algorithm);
    if (!parameters || OBJ_obj2nid(parameters->keyfunc->algorithm) != NID_id_pbkdf2) {
        return bearable + 1;
    }
    const auto derivation = unpack<Derivation>(ASN1_ITEM_rptr(PBKDF2PARAM), parameters->keyfunc);
    return derivation ? countOf(derivation->iter) : bearable + 1;
}

// Counts what the parts of one file cost, as soon as each is known.
class Effort {
public:
    // False once there is more than can be borne.
    bool add(std::int64_t iterations) {
        sum += iterations;
        return sum <= bearable;
    }

    // NOLINTNEXTLINE(misc-no-recursion): bags lie in bags, and how deep is bounded.
    bool addBags(const STACK_OF(PKCS12_SAFEBAG) * bags, int depth) {
        constexpr int deepest = 8;
        if (depth > deepest) {
            return false;
        }
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            const PKCS12_SAFEBAG* bag = sk_PKCS12_SAFEBAG_value(bags, i);
            const int kind = PKCS12_SAFEBAG_get_nid(bag);
            if (kind == NID_pkcs8ShroudedKeyBag && !addShroudedKey(bag)) {
                return false;
            }
            if (kind == NID_safeContentsBag &&
                !addBags(PKCS12_SAFEBAG_get0_safes(bag), depth + 1)) {
                return false;
            }
        }
        return true;
    }

private:
    bool addShroudedKey(const PKCS12_SAFEBAG* bag) {
        const X509_ALGOR* algorithm = nullptr;
        if (const X509_SIG* key = PKCS12_SAFEBAG_get0_pkcs8(bag)) {
            X509_SIG_get0(key, &algorithm, nullptr);
        }
        return add(iterationsOf(algorithm));
    }

    std::int64_t sum = 0;
};

// What is in an encrypted part costs again. A part that can't be opened adds nothing: nobody ever
// looks into it.
bool addEncrypted(Effort& effort, PKCS7* part, const char* password, std::size_t length) {
    if (!effort.add(iterationsOf(part->d.encrypted->enc_data->algorithm))) {
        return false;
    }
    const Bags bags(PKCS12_unpack_p7encdata(part, password, static_cast<int>(length)));
    return effort.addBags(bags.get(), 0);
}

bool addPart(Effort& effort, PKCS7* part, const std::string& password) {
    if (PKCS7_type_is_data(part)) {
        return part->d.data && effort.addBags(Bags(PKCS12_unpack_p7data(part)).get(), 0);
    }
    if (!PKCS7_type_is_encrypted(part)) {
        return true;
    }
    if (!part->d.encrypted || !part->d.encrypted->enc_data) {
        return false;
    }
    // An empty password is written in two ways.
    return addEncrypted(effort, part, password.c_str(), password.size()) &&
           (!password.empty() || addEncrypted(effort, part, nullptr, 0));
}

} // namespace

bool hasBearableIterations(const PKCS12* file, const std::string& password) {
    const ErrorQueueGuard errors;
    Effort effort;
    const ASN1_INTEGER* ofMac = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &ofMac, file);
    if (ofMac && !effort.add(countOf(ofMac))) {
        return false;
    }
    const Parts parts(PKCS12_unpack_authsafes(file));
    for (int i = 0; i < sk_PKCS7_num(parts.get()); ++i) {
        if (!addPart(effort, sk_PKCS7_value(parts.get(), i), password)) {
            return false;
        }
    }
    return true;
}

} // namespace VexaSsl::openssl
