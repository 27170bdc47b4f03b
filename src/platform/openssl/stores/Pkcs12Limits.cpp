#include "platform/openssl/stores/Pkcs12Limits.h"

#include "platform/openssl/stores/OpenSslOwners.h"

#include <cstdint>
#include <cstring>
#include <memory>

namespace VexaSsl::openssl {
namespace {

constexpr std::int64_t maxIterations = 10'000'000; // common files have some thousands

void releaseBags(STACK_OF(PKCS12_SAFEBAG) * bags) noexcept {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
void releaseContentInfos(STACK_OF(PKCS7) * contentInfos) noexcept {
    sk_PKCS7_pop_free(contentInfos, PKCS7_free);
}

using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Release<releaseBags>>;
using ContentInfos = std::unique_ptr<STACK_OF(PKCS7), Release<releaseContentInfos>>;
using Pbes1Parameters = std::unique_ptr<PBEPARAM, Release<PBEPARAM_free>>;
using Pbes2Parameters = std::unique_ptr<PBE2PARAM, Release<PBE2PARAM_free>>;
using Pbkdf2Parameters = std::unique_ptr<PBKDF2PARAM, Release<PBKDF2PARAM_free>>;

// Returns the iteration count; maxIterations + 1 for an invalid one.
std::int64_t countOf(const ASN1_INTEGER* integer) {
    std::int64_t count = 0;
    const bool isCount = ASN1_INTEGER_get_int64(&count, integer) == 1 && count >= 0;
    return isCount && count <= maxIterations ? count : maxIterations + 1;
}

template <class Owner>
Owner unpackParameters(const ASN1_ITEM* item, const X509_ALGOR* algorithm) {
    using Parameters = typename Owner::element_type;
    int type = 0;
    const void* value = nullptr;
    X509_ALGOR_get0(nullptr, &type, &value, algorithm);
    if (type != V_ASN1_SEQUENCE) {
        return nullptr;
    }
    return Owner(
        static_cast<Parameters*>(ASN1_item_unpack(static_cast<const ASN1_STRING*>(value), item)));
}

std::int64_t iterationsOf(const X509_ALGOR* algorithm) {
    const int kind = OBJ_obj2nid(algorithm->algorithm);
    if (kind != NID_pbes2 && kind != NID_pbmac1) { // their parameters have the same form
        const auto pbes1 = unpackParameters<Pbes1Parameters>(ASN1_ITEM_rptr(PBEPARAM), algorithm);
        return pbes1 ? countOf(pbes1->iter) : maxIterations + 1;
    }
    const auto pbes2 = unpackParameters<Pbes2Parameters>(ASN1_ITEM_rptr(PBE2PARAM), algorithm);
    if (!pbes2 || OBJ_obj2nid(pbes2->keyfunc->algorithm) != NID_id_pbkdf2) {
        return maxIterations + 1;
    }
    const auto pbkdf2 =
        unpackParameters<Pbkdf2Parameters>(ASN1_ITEM_rptr(PBKDF2PARAM), pbes2->keyfunc);
    return pbkdf2 ? countOf(pbkdf2->iter) : maxIterations + 1;
}

// The sum of the iterations in one file.
class IterationCounter {
public:
    // Returns false when the sum exceeds the limit.
    bool add(std::int64_t iterations) {
        sum += iterations;
        return sum <= maxIterations;
    }

    // NOLINTNEXTLINE(misc-no-recursion): bags contain bags, to a limited depth.
    bool addBags(const STACK_OF(PKCS12_SAFEBAG) * bags, int depth) {
        constexpr int maxDepth = 8;
        if (depth > maxDepth) {
            return false;
        }
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            const PKCS12_SAFEBAG* bag = sk_PKCS12_SAFEBAG_value(bags, i);
            const int nid = PKCS12_SAFEBAG_get_nid(bag);
            if (nid == NID_pkcs8ShroudedKeyBag && !addShroudedKey(bag)) {
                return false;
            }
            if (nid == NID_safeContentsBag && !addBags(PKCS12_SAFEBAG_get0_safes(bag), depth + 1)) {
                return false;
            }
        }
        return true;
    }

private:
    bool addShroudedKey(const PKCS12_SAFEBAG* bag) {
        const X509_ALGOR* algorithm = nullptr;
        X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &algorithm, nullptr);
        return add(iterationsOf(algorithm));
    }

    std::int64_t sum = 0;
};

// Adds the iterations of an encrypted part, and of the keys in it if the password opens it. Keys in
// a part that can't be opened are never derived.
bool addEncryptedData(IterationCounter& counter, PKCS7* contentInfo, const char* password,
                      int length) {
    if (!counter.add(iterationsOf(contentInfo->d.encrypted->enc_data->algorithm))) {
        return false;
    }
    const Bags bags(PKCS12_unpack_p7encdata(contentInfo, password, length));
    return counter.addBags(bags.get(), 0);
}

bool addContentInfo(IterationCounter& counter, PKCS7* contentInfo, const char* password) {
    if (PKCS7_type_is_data(contentInfo)) {
        return contentInfo->d.data &&
               counter.addBags(Bags(PKCS12_unpack_p7data(contentInfo)).get(), 0);
    }
    if (!PKCS7_type_is_encrypted(contentInfo)) {
        return true;
    }
    if (!contentInfo->d.encrypted) {
        return false;
    }
    // PKCS12_parse tries an empty password in two encodings.
    const int length = static_cast<int>(std::strlen(password));
    return addEncryptedData(counter, contentInfo, password, length) &&
           (length > 0 || addEncryptedData(counter, contentInfo, nullptr, 0));
}

} // namespace

bool iterationsWithinLimit(const PKCS12* file, const char* password) {
    const ErrorQueueGuard errors;
    IterationCounter counter;
    const X509_ALGOR* mac = nullptr;
    const ASN1_INTEGER* macIterations = nullptr;
    PKCS12_get0_mac(nullptr, &mac, nullptr, &macIterations, file);
    if (macIterations && !counter.add(countOf(macIterations))) {
        return false;
    }
    const bool isPbmac1 = mac && OBJ_obj2nid(mac->algorithm) == NID_pbmac1;
    if (isPbmac1 && !counter.add(iterationsOf(mac))) {
        return false;
    }
    const ContentInfos contentInfos(PKCS12_unpack_authsafes(file));
    for (int i = 0; i < sk_PKCS7_num(contentInfos.get()); ++i) {
        if (!addContentInfo(counter, sk_PKCS7_value(contentInfos.get(), i), password)) {
            return false;
        }
    }
    return true;
}

} // namespace VexaSsl::openssl
