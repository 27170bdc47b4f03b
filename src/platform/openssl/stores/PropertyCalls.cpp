// The extended key usages and the hashes of a certificate, for tools.
#include "platform/contract/CryptoApi.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/openssl/stores/Store.h"
#include "platform/openssl/stores/SubjectText.h"

#include <openssl/sha.h>

#include <cstring>
#include <string>
#include <vector>

namespace VexaSsl::openssl {
namespace {

std::size_t sizeOf(const std::vector<std::string>& usages) {
    std::size_t size = sizeof(CERT_ENHKEY_USAGE) + usages.size() * sizeof(char*);
    for (const std::string& usage : usages) {
        size += usage.size() + 1;
    }
    return size;
}

// Writes the structure, followed by the array of pointers and the texts.
void writeUsages(const std::vector<std::string>& usages, CERT_ENHKEY_USAGE& target) {
    auto** list = reinterpret_cast<char**>(&target + 1);
    char* text = reinterpret_cast<char*>(list + usages.size());
    target.cUsageIdentifier = static_cast<DWORD>(usages.size());
    target.rgpszUsageIdentifier = list;
    for (const std::string& usage : usages) {
        *list++ = text;
        std::memcpy(text, usage.c_str(), usage.size() + 1);
        text += usage.size() + 1;
    }
}

// Sets size to the size needed. Returns FALSE with ERROR_MORE_DATA when data is smaller.
BOOL checkCapacity(const void* data, DWORD& size, std::size_t needed) {
    const DWORD capacity = size;
    size = static_cast<DWORD>(needed);
    return !data || capacity >= needed ? TRUE : linux::failWith(ERROR_MORE_DATA, FALSE);
}

BOOL copyHash(PCCERT_CONTEXT certificate, DWORD property, void* data, DWORD& size) {
    const bool isSha256 = property == CERT_SHA256_HASH_PROP_ID;
    const std::size_t needed = isSha256 ? SHA256_DIGEST_LENGTH : SHA_DIGEST_LENGTH;
    if (!checkCapacity(data, size, needed)) {
        return FALSE;
    }
    if (!data) {
        return TRUE;
    }
    const ErrorQueueGuard errors;
    const auto compute = isSha256 ? SHA256 : SHA1;
    return compute(certificate->pbCertEncoded, certificate->cbCertEncoded,
                   static_cast<unsigned char*>(data))
               ? TRUE
               : linux::failWith(linux::errorInternalError, FALSE);
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

using namespace openssl;

BOOL CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD flags, CERT_ENHKEY_USAGE* usage,
                             DWORD* size) {
    if (!certificate || !size || flags != CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG) {
        return linux::failWith(linux::invalidArgument, FALSE);
    }
    return linux::guarded(BOOL{FALSE}, [&]() -> BOOL {
        std::vector<std::string> usages;
        if (!readUsages(Context::of(certificate).certificate->x509(), usages)) {
            return linux::failWith(CRYPT_E_NOT_FOUND, FALSE);
        }
        if (!checkCapacity(usage, *size, sizeOf(usages))) {
            return FALSE;
        }
        if (usage) {
            writeUsages(usages, *usage);
        }
        return TRUE;
    });
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                       DWORD* size) {
    if (!certificate || !size) {
        return linux::failWith(linux::invalidArgument, FALSE);
    }
    if (property != CERT_SHA1_HASH_PROP_ID && property != CERT_SHA256_HASH_PROP_ID) {
        return linux::failWith(CRYPT_E_NOT_FOUND, FALSE);
    }
    return copyHash(certificate, property, data, *size);
}

} // namespace VexaSsl::platform
