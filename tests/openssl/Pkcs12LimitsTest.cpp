// The limit on the iterations of a PKCS#12 file, for each place that can hold a count. No key is
// derived with a large count, so the counts can be exact.
#include "platform/openssl/stores/Pkcs12Limits.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {
namespace {

using openssl::Release;

constexpr std::int64_t limit = 10'000'000;
constexpr std::int64_t half = limit / 2;

using Algorithm = std::unique_ptr<X509_ALGOR, Release<X509_ALGOR_free>>;
using Part = std::unique_ptr<PKCS7, Release<PKCS7_free>>;

// The encoding of an element with this tag and content.
std::string element(unsigned char tag, const std::string& content) {
    const auto size = content.size();
    return std::string{static_cast<char>(tag), static_cast<char>(0x82),
                       static_cast<char>(size >> 8), static_cast<char>(size & 0xFF)} +
           content;
}

template <class T>
std::string encoded(const T* value, const ASN1_ITEM* item) {
    unsigned char* bytes = nullptr;
    const int size = ASN1_item_i2d(reinterpret_cast<const ASN1_VALUE*>(value), &bytes, item);
    const openssl::BytesPointer owner(bytes);
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

// --- Algorithms.

Algorithm algorithm(int kind, int parameterType, void* parameters) {
    Algorithm made(X509_ALGOR_new());
    X509_ALGOR_set0(made.get(), OBJ_nid2obj(kind), parameterType, parameters);
    return made;
}

Algorithm pbes1(std::int64_t iterations) {
    Algorithm made(PKCS5_pbe_set(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 1, nullptr, 0));
    PBEPARAM* parameters = PBEPARAM_new();
    ASN1_INTEGER_set_int64(parameters->iter, iterations);
    ASN1_STRING* packed = ASN1_item_pack(parameters, ASN1_ITEM_rptr(PBEPARAM), nullptr);
    PBEPARAM_free(parameters);
    return algorithm(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, V_ASN1_SEQUENCE, packed);
}

// With a cipher that doesn't exist, so that nothing is derived.
Algorithm pbes2With(Algorithm derivation, int kind = NID_pbes2) {
    PBE2PARAM* parameters = PBE2PARAM_new();
    X509_ALGOR_copy(parameters->keyfunc, derivation.get());
    X509_ALGOR_set0(parameters->encryption, OBJ_nid2obj(NID_sha256), V_ASN1_NULL, nullptr);
    ASN1_STRING* packed = ASN1_item_pack(parameters, ASN1_ITEM_rptr(PBE2PARAM), nullptr);
    PBE2PARAM_free(parameters);
    return algorithm(kind, V_ASN1_SEQUENCE, packed);
}

Algorithm pbkdf2(std::int64_t iterations) {
    return Algorithm(PKCS5_pbkdf2_set(static_cast<int>(iterations), nullptr, 0, -1, -1));
}

Algorithm withoutParameters(int kind) {
    return algorithm(kind, V_ASN1_NULL, nullptr);
}

// --- Bags, encoded, and parts that contain them.

std::string keyBags(const Algorithm& encryption) {
    X509_SIG* sealed = X509_SIG_new();
    X509_ALGOR* place = nullptr;
    X509_SIG_getm(sealed, &place, nullptr);
    X509_ALGOR_copy(place, encryption.get());
    STACK_OF(PKCS12_SAFEBAG)* bags = sk_PKCS12_SAFEBAG_new_null();
    sk_PKCS12_SAFEBAG_push(bags, PKCS12_SAFEBAG_create0_pkcs8(sealed));
    const std::string bytes = encoded(bags, ASN1_ITEM_rptr(PKCS12_SAFEBAGS));
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    return bytes;
}

const std::string noBags = element(0x30, "");

std::string nested(std::string bags, int depth) {
    const std::string bagOfBags = "\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x0C\x0A\x01\x06";
    for (; depth > 0; --depth) {
        bags = element(0x30, element(0x30, bagOfBags + element(0xA0, bags)));
    }
    return bags;
}

Part plain(const std::string& bags) {
    Part part(PKCS7_new());
    PKCS7_set_type(part.get(), NID_pkcs7_data);
    ASN1_OCTET_STRING_set(part->d.data, reinterpret_cast<const unsigned char*>(bags.data()),
                          static_cast<int>(bags.size()));
    return part;
}

Part encrypted(const std::string& bags, const char* password) {
    const auto* at = reinterpret_cast<const unsigned char*>(bags.data());
    auto* decoded = reinterpret_cast<STACK_OF(PKCS12_SAFEBAG)*>(ASN1_item_d2i(
        nullptr, &at, static_cast<long>(bags.size()), ASN1_ITEM_rptr(PKCS12_SAFEBAGS)));
    Part part(PKCS12_pack_p7encdata(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, password,
                                    password ? -1 : 0, nullptr, 0, 1, decoded));
    sk_PKCS12_SAFEBAG_pop_free(decoded, PKCS12_SAFEBAG_free);
    return part;
}

Part encryptedBy(const Algorithm& encryption) {
    Part part = encrypted(noBags, "");
    X509_ALGOR_copy(part->d.encrypted->enc_data->algorithm, encryption.get());
    return part;
}

Part withoutContent(int kind) {
    Part part(PKCS7_new());
    part->type = OBJ_nid2obj(kind);
    return part;
}

// --- Files.

class File {
public:
    template <class... Parts>
    explicit File(Parts... parts) {
        (all.push_back(std::move(parts)), ...);
    }

    File withMac(std::int64_t iterations) && {
        ASN1_INTEGER_set_int64(addMac(), iterations);
        return std::move(*this);
    }

    File withLargeMac() && {
        const unsigned char bytes[9] = {1};
        ASN1_STRING_set(addMac(), bytes, sizeof bytes);
        return std::move(*this);
    }

    // PBMAC1, which OpenSSL supports since 3.4, has separate iterations.
    File withPbmac1(std::int64_t iterations) && {
        PKCS12_set_mac(file.get(), "", 0, nullptr, 0, 1, EVP_sha256());
        const X509_ALGOR* place = nullptr;
        PKCS12_get0_mac(nullptr, &place, nullptr, nullptr, file.get());
        X509_ALGOR_copy(const_cast<X509_ALGOR*>(place),
                        pbes2With(pbkdf2(iterations), NID_pbmac1).get());
        return std::move(*this);
    }

    bool isWithinLimit(const char* password) const {
        STACK_OF(PKCS7)* parts = sk_PKCS7_new_null();
        for (const Part& part : all) {
            sk_PKCS7_push(parts, part.get());
        }
        EXPECT_EQ(PKCS12_pack_authsafes(file.get(), parts), 1);
        sk_PKCS7_free(parts);
        return openssl::iterationsWithinLimit(file.get(), password);
    }

private:
    // Returns the count of its iterations, to be changed.
    ASN1_INTEGER* addMac() {
        PKCS12_set_mac(file.get(), "", 0, nullptr, 0, 2, EVP_sha256());
        const ASN1_INTEGER* count = nullptr;
        PKCS12_get0_mac(nullptr, nullptr, nullptr, &count, file.get());
        return const_cast<ASN1_INTEGER*>(count);
    }

    openssl::Pkcs12Pointer file{PKCS12_init(NID_pkcs7_data)};
    std::vector<Part> all;
};

struct Case {
    const char* name;
    bool isWithin;
    File (*make)();
    const char* password = "";

    friend void PrintTo(const Case& tested, std::ostream* out) { *out << tested.name; }
};

class Pkcs12Limits : public ::testing::TestWithParam<Case> {};

TEST_P(Pkcs12Limits, iterationsOfAllPartsAreLimited) {
    ERR_clear_error();
    EXPECT_EQ(GetParam().make().isWithinLimit(GetParam().password), GetParam().isWithin);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

constexpr bool within = true;
constexpr bool beyond = false;

const Case cases[] = {
    {"macAtTheLimit", within, [] { return File().withMac(limit); }},
    {"macBeyond", beyond, [] { return File().withMac(limit + 1); }},
    {"macNegative", beyond, [] { return File().withMac(-1); }},
    {"macOf72Bits", beyond, [] { return File().withLargeMac(); }},
    {"pbmac1AtTheLimit", within, [] { return File().withPbmac1(limit); }},
    {"pbmac1Beyond", beyond, [] { return File().withPbmac1(limit + 1); }},
    {"keyAtTheLimit", within, [] { return File(plain(keyBags(pbes1(limit)))); }},
    {"keyBeyond", beyond, [] { return File(plain(keyBags(pbes1(limit + 1)))); }},
    {"keyNegative", beyond, [] { return File(plain(keyBags(pbes1(-1)))); }},
    {"twoKeysAtTheLimit", within,
     [] { return File(plain(keyBags(pbes1(half))), plain(keyBags(pbes1(half)))); }},
    {"twoKeysBeyond", beyond,
     [] { return File(plain(keyBags(pbes1(half))), plain(keyBags(pbes1(half + 1)))); }},
    {"macAndKeyBeyond", beyond, [] { return File(plain(keyBags(pbes1(half + 1)))).withMac(half); }},
    {"pbes1WithoutParameters", beyond,
     [] {
         return File(plain(keyBags(withoutParameters(NID_pbe_WithSHA1And3_Key_TripleDES_CBC))));
     }},
    {"pbkdf2AtTheLimit", within, [] { return File(plain(keyBags(pbes2With(pbkdf2(limit))))); }},
    {"pbkdf2Beyond", beyond, [] { return File(plain(keyBags(pbes2With(pbkdf2(limit + 1))))); }},
    {"pbes2WithoutParameters", beyond,
     [] { return File(plain(keyBags(withoutParameters(NID_pbes2)))); }},
    {"pbkdf2WithoutParameters", beyond,
     [] { return File(plain(keyBags(pbes2With(withoutParameters(NID_id_pbkdf2))))); }},
    {"otherDerivation", beyond,
     [] {
         return File(plain(
             keyBags(pbes2With(algorithm(NID_id_scrypt, V_ASN1_SEQUENCE,
                                         ASN1_STRING_dup(pbkdf2(1)->parameter->value.sequence))))));
     }},
    {"nestedKeyBeyond", beyond, [] { return File(plain(nested(keyBags(pbes1(limit + 1)), 1))); }},
    {"nestedEightTimes", within, [] { return File(plain(nested(noBags, 8))); }},
    {"nestedNineTimes", beyond, [] { return File(plain(nested(noBags, 9))); }},
    {"encryptedKeyBeyond", beyond,
     [] { return File(encrypted(keyBags(pbes1(limit + 1)), "secret")); }, "secret"},
    {"encryptedKeyWithOtherPassword", within,
     [] { return File(encrypted(keyBags(pbes1(limit + 1)), "secret")); }, "guess"},
    {"encryptedKeyWithEmptyPassword", beyond,
     [] { return File(encrypted(keyBags(pbes1(limit + 1)), "")); }},
    {"encryptedKeyWithNullPassword", beyond,
     [] { return File(encrypted(keyBags(pbes1(limit + 1)), nullptr)); }},
    {"partAtTheLimit", within, [] { return File(encryptedBy(pbes2With(pbkdf2(limit)))); }, "x"},
    {"partBeyond", beyond, [] { return File(encryptedBy(pbes2With(pbkdf2(limit + 1)))); }, "x"},
    // An empty password is tried in two encodings, each with a derivation.
    {"partWithEmptyPasswordAtTheLimit", within,
     [] { return File(encryptedBy(pbes2With(pbkdf2(half)))); }},
    {"partWithEmptyPasswordBeyond", beyond,
     [] { return File(encryptedBy(pbes2With(pbkdf2(half + 1)))); }},
    {"dataWithoutContent", beyond, [] { return File(withoutContent(NID_pkcs7_data)); }},
    {"encryptedPartWithoutContent", beyond,
     [] { return File(withoutContent(NID_pkcs7_encrypted)); }},
    {"partOfOtherKind", within,
     [] { return File(withoutContent(NID_pkcs7_signed), plain(keyBags(pbes1(limit)))); }},
};

INSTANTIATE_TEST_SUITE_P(Cases, Pkcs12Limits, ::testing::ValuesIn(cases),
                         [](const auto& tested) { return tested.param.name; });

} // namespace
} // namespace VexaSsl::test
