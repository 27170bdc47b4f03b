// The files of a certificate folder: PEM and DER with a key in the file or a key file, PKCS#12 with
// a password file, trust anchors.
//
// The input: the kind of file, the size of the key or password file in two bytes, that file, and
// the file.
#include "Harness.h"

#include "certificates/CertificateInspector.h"
#include "platform/contract/CryptoApi.h"
#include "platform/openssl/stores/CertificateFile.h"
#include "platform/openssl/stores/Store.h"

#include <openssl/x509.h>

#include <cstring>

namespace {

using namespace VexaSsl;
using fuzz::require;

openssl::FileContents fileOf(std::string_view content) {
    openssl::FileContents file;
    file.outcome = openssl::FileOutcome::read;
    file.bytes = openssl::SecretBytes(content.size());
    if (!content.empty()) {
        std::memcpy(file.bytes.data(), content.data(), content.size());
    }
    return file;
}

// The certificate can be encoded unchanged.
void requireEncoding(const openssl::Certificate& certificate) {
    const CRYPTOAPI_BLOB encoded = certificate.encoded();
    const auto* at = static_cast<const unsigned char*>(encoded.pbData);
    const openssl::X509Pointer again(d2i_X509(nullptr, &at, static_cast<long>(encoded.cbData)));
    require(again && X509_cmp(again.get(), certificate.x509()) == 0,
            "a certificate is parsed and encoded unchanged");
}

void requireEntry(const openssl::Certificate& entry) {
    const bool hasKey = entry.keyState() == openssl::KeyState::present;
    require(hasKey == (entry.key() != nullptr), "the key exists exactly when the property says so");
    require(hasKey || entry.keyState() == openssl::KeyState::unreadable, "every entry has a key");
    require(!hasKey || X509_check_private_key(entry.x509(), entry.key()) == 1,
            "the key belongs to the certificate");
    requireEncoding(entry);
}

// Calls what the library calls for certificates in the store.
void inspect(const std::vector<openssl::CertificatePointer>& entries) {
    HCERTSTORE store = openssl::Store::open(std::make_shared<const openssl::StoreContent>(entries));
    fuzz::StrictLog log;
    const CertificateInspector inspector(log);
    std::size_t count = 0;
    for (PCCERT_CONTEXT found = nullptr;
         (found = platform::CertEnumCertificatesInStore(store, found)) != nullptr;) {
        ++count;
        for (const std::wstring& name : inspector.getAllNames(found)) {
            require(!name.empty(), "no name is empty");
        }
        inspector.getFriendlyName(found);
    }
    require(count == entries.size(), "every entry is in the store");
    require(platform::CertCloseStore(store, 0) != 0, "the store can be closed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t kind = input.byte() % 3;
    const openssl::FileContents companion = fileOf(input.take(input.number()));
    const openssl::FileContents file = fileOf(input.rest());
    const openssl::ParsedFile parsed = kind == 0   ? openssl::parsePersonalFile(file, companion)
                                       : kind == 1 ? openssl::parsePkcs12File(file, companion)
                                                   : openssl::parseAnchorFile(file);
    require(kind == 2 ? parsed.entries.empty() : parsed.anchors.empty(),
            "a file gives entries or anchors by its kind");
    require(parsed.entries.size() + parsed.anchors.size() <= size,
            "the number of certificates is bounded");
    for (const openssl::CertificatePointer& entry : parsed.entries) {
        requireEntry(*entry);
    }
    inspect(parsed.entries);
    return 0;
}
