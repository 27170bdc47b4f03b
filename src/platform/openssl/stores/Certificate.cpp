#include "platform/openssl/stores/Certificate.h"

#include "platform/openssl/stores/Encoding.h"
#include "platform/openssl/stores/FileTime.h"

#include <ctime>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

// A time that can't be decoded becomes 0.
FILETIME fileTimeOfAsn1(const ASN1_TIME* time) {
    std::tm parts{};
    return ASN1_TIME_to_tm(time, &parts) == 1 ? fileTimeOf(timegm(&parts)) : FILETIME{};
}

} // namespace

Certificate::Certificate(X509Pointer certificate, KeyAndChain keyAndChain)
    : certificate(std::move(certificate)), keyAndChain(std::move(keyAndChain)) {
    const ErrorQueueGuard errors;
    X509* const x = this->certificate.get();
    // Makes OpenSSL decode and cache the extensions before other threads use the certificate.
    X509_check_purpose(x, X509_PURPOSE_ANY, 0);
    for (const X509Pointer& extra : this->keyAndChain.extraCertificates) {
        extraList.push_back(extra.get());
    }
    der = openssl::encoded(x, i2d_X509);
    serialNumber = openssl::encoded(X509_get0_serialNumber(x), i2d_ASN1_INTEGER);
    issuer = openssl::encoded(X509_get_issuer_name(x), i2d_X509_NAME);
    subject = openssl::encoded(X509_get_subject_name(x), i2d_X509_NAME);
    certificateInfo.dwVersion = static_cast<DWORD>(X509_get_version(x));
    certificateInfo.SerialNumber = blobOf(serialNumber);
    certificateInfo.Issuer = blobOf(issuer);
    certificateInfo.NotBefore = fileTimeOfAsn1(X509_get0_notBefore(x));
    certificateInfo.NotAfter = fileTimeOfAsn1(X509_get0_notAfter(x));
    certificateInfo.Subject = blobOf(subject);
}

CRYPTOAPI_BLOB Certificate::blobOf(const Bytes& bytes) noexcept {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

} // namespace VexaSsl::openssl
