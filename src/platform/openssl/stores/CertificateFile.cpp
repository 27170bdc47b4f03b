#include "platform/openssl/stores/CertificateFile.h"

#include "platform/openssl/stores/PemBlocks.h"
#include "platform/openssl/stores/Pkcs12Limits.h"

#include <openssl/err.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

// certificate: one of certificates.
CertificatePointer makeEntry(const std::vector<X509Pointer>& certificates,
                             const X509Pointer& certificate, KeyState state, KeyPointer key) {
    KeyAndChain keyAndChain{state, std::move(key), {}};
    for (const X509Pointer& other : certificates) {
        if (other != certificate) {
            keyAndChain.extraCertificates.push_back(sharedReference(other.get()));
        }
    }
    return std::make_shared<const Certificate>(sharedReference(certificate.get()),
                                               std::move(keyAndChain));
}

// Removes the first key that matches the certificate from keys and returns it; null when none does.
KeyPointer takeMatchingKey(X509* certificate, std::vector<KeyPointer>& keys) {
    const auto found = std::find_if(keys.begin(), keys.end(), [certificate](const auto& key) {
        return X509_check_private_key(certificate, key.get()) == 1;
    });
    if (found == keys.end()) {
        return nullptr;
    }
    KeyPointer key = std::move(*found);
    keys.erase(found);
    return key;
}

// certificates: at least one.
ParsedFile parsedEntries(const std::vector<X509Pointer>& certificates,
                         std::vector<KeyPointer>& keys, bool hasUnreadableKey) {
    ParsedFile parsed;
    for (const X509Pointer& certificate : certificates) {
        if (KeyPointer key = takeMatchingKey(certificate.get(), keys)) {
            parsed.entries.push_back(
                makeEntry(certificates, certificate, KeyState::present, std::move(key)));
        }
    }
    if (parsed.entries.empty() && hasUnreadableKey) {
        parsed.entries.push_back(
            makeEntry(certificates, certificates.front(), KeyState::unreadable, nullptr));
    }
    return parsed;
}

using Fault = platform::CertificateFileFault;

ParsedFile unusedFile(const FileContents& file, Fault fault, std::string algorithm = {}) {
    return {{}, {}, platform::UnusedCertificateFile{file.path, fault, std::move(algorithm)}};
}

// Returns the name between "Algorithm (" and " :" in the text of a failed fetch.
std::string algorithmIn(std::string_view failedFetch) {
    constexpr std::string_view start = "Algorithm (";
    const std::size_t at = failedFetch.find(start);
    if (at == std::string_view::npos) {
        return {};
    }
    const std::string_view name = failedFetch.substr(at + start.size());
    return std::string(name.substr(0, name.find(" :")));
}

// Returns why PKCS12_parse failed, from the errors that it has left.
ParsedFile unopenedPkcs12(const FileContents& file) {
    const char* text = "";
    int flags = 0;
    while (const unsigned long error =
               ERR_get_error_all(nullptr, nullptr, nullptr, &text, &flags)) {
        if (ERR_GET_LIB(error) == ERR_LIB_EVP && ERR_GET_REASON(error) == ERR_R_UNSUPPORTED) {
            return unusedFile(file, Fault::UnsupportedCipher,
                              (flags & ERR_TXT_STRING) != 0 ? algorithmIn(text) : std::string());
        }
    }
    return unusedFile(file, Fault::WrongPassword);
}

// Returns whether a key file exists that this account can't read now.
bool isUnreadable(FileOutcome outcome) {
    return outcome == FileOutcome::denied || outcome == FileOutcome::temporary;
}

// Returns the first line of a password file, followed by a zero.
SecretBytes passwordIn(std::string_view file) {
    const std::string_view line = file.substr(0, file.find_first_of(std::string_view("\r\n\0", 3)));
    SecretBytes password(line.size() + 1);
    std::copy(line.begin(), line.end(), password.data());
    return password;
}

Pkcs12Pointer decodePkcs12(std::string_view text) {
    const auto* at = reinterpret_cast<const unsigned char*>(text.data());
    return Pkcs12Pointer(d2i_PKCS12(nullptr, &at, static_cast<long>(text.size())));
}

} // namespace

platform::CertificateFileFault faultOf(FileOutcome outcome) noexcept {
    switch (outcome) {
    case FileOutcome::missing:
        return Fault::Missing;
    case FileOutcome::denied:
        return Fault::Denied;
    case FileOutcome::unusable:
        return Fault::NotAFile;
    case FileOutcome::temporary:
    case FileOutcome::read:
        break;
    }
    return Fault::Unavailable;
}

ParsedFile parsePersonalFile(const FileContents& file, const FileContents& keyFile) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return unusedFile(file, faultOf(file.outcome));
    }
    PemContent content = readPemBlocks(file.bytes.text());
    if (content.isDamaged) {
        return unusedFile(file, Fault::Damaged);
    }
    if (content.certificates.empty()) {
        return unusedFile(file, Fault::NoCertificate);
    }
    if (content.keys.empty() && !content.hasUnreadableKey) {
        PemContent keyContent = readPemBlocks(keyFile.bytes.text());
        content.keys = std::move(keyContent.keys);
        content.hasUnreadableKey = keyContent.hasUnreadableKey || isUnreadable(keyFile.outcome);
    }
    ParsedFile parsed = parsedEntries(content.certificates, content.keys, content.hasUnreadableKey);
    if (parsed.entries.empty()) {
        return unusedFile(file, content.keys.empty() ? Fault::NoKey : Fault::ForeignKey);
    }
    return parsed;
}

ParsedFile parsePkcs12File(const FileContents& file, const FileContents& passwordFile) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return unusedFile(file, faultOf(file.outcome));
    }
    const Pkcs12Pointer pkcs12 = decodePkcs12(file.bytes.text());
    const SecretBytes secret = passwordIn(passwordFile.bytes.text());
    const char* const password = secret.text().data();
    if (!pkcs12 || !iterationsWithinLimit(pkcs12.get(), password)) {
        return unusedFile(file, Fault::Damaged);
    }
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* chain = nullptr;
    ERR_clear_error(); // an older error would be taken for the reason
    const int parsed = PKCS12_parse(pkcs12.get(), password, &key, &certificate, &chain);
    KeyPointer ownedKey(key);
    std::vector<X509Pointer> certificates;
    certificates.emplace_back(certificate);
    const CertificateStack stack(chain);
    if (parsed != 1) {
        return unopenedPkcs12(file);
    }
    if (!certificate) { // it returns one that matches the key only
        return unusedFile(file, key ? Fault::NoCertificate : Fault::NoKey);
    }
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        certificates.push_back(sharedReference(sk_X509_value(chain, i)));
    }
    ParsedFile entry;
    entry.entries.push_back(
        makeEntry(certificates, certificates.front(), KeyState::present, std::move(ownedKey)));
    return entry;
}

ParsedFile parseAnchorFile(const FileContents& file) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return unusedFile(file, faultOf(file.outcome));
    }
    ParsedFile parsed{{}, readPemBlocks(file.bytes.text()).certificates};
    if (parsed.anchors.empty()) {
        return unusedFile(file, Fault::NoCertificate);
    }
    return parsed;
}

} // namespace VexaSsl::openssl
