#include "platform/openssl/stores/CertificateFile.h"

#include "platform/openssl/stores/PemBlocks.h"
#include "platform/openssl/stores/Pkcs12Effort.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

CertificatePointer makeEntry(const std::vector<X509Pointer>& certificates, std::size_t position,
                             KeyState state, KeyPointer key) {
    Companions companions{state, std::move(key), {}};
    for (std::size_t i = 0; i < certificates.size(); ++i) {
        if (i != position) {
            companions.helpers.push_back(sharedReference(certificates[i].get()));
        }
    }
    return std::make_shared<const Certificate>(sharedReference(certificates[position].get()),
                                               std::move(companions));
}

// Takes the first of keys that belongs to certificate out of them. Null if there is none.
KeyPointer takeKeyOf(X509* certificate, std::vector<KeyPointer>& keys) {
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

ParsedFile entriesOf(const std::vector<X509Pointer>& certificates, std::vector<KeyPointer>& keys,
                     bool keyIsClosed) {
    ParsedFile parsed;
    for (std::size_t i = 0; i < certificates.size(); ++i) {
        if (KeyPointer key = takeKeyOf(certificates[i].get(), keys)) {
            parsed.entries.push_back(makeEntry(certificates, i, KeyState::present, std::move(key)));
        }
    }
    if (parsed.entries.empty() && keyIsClosed && !certificates.empty()) {
        parsed.entries.push_back(makeEntry(certificates, 0, KeyState::unreadable, nullptr));
    }
    return parsed;
}

using Fault = platform::CertificateFileFault;

ParsedFile nothing(const FileText& file, Fault fault) {
    return {{}, {}, platform::UnusedCertificateFile{file.path, fault}};
}

// A key file is there and this account can't open it now.
bool isClosed(FileOutcome outcome) {
    return outcome == FileOutcome::denied || outcome == FileOutcome::temporary;
}

// The first line of a password file; overwritten when it goes, however that comes about.
class Password {
public:
    explicit Password(std::string_view file) : line(file.substr(0, file.find_first_of("\r\n"))) {}
    ~Password() { OPENSSL_cleanse(line.data(), line.size()); }
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    const std::string& text() const noexcept { return line; }

private:
    std::string line;
};

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

ParsedFile parsePersonalFile(const FileText& file, const FileText& keyFile) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return nothing(file, faultOf(file.outcome));
    }
    PemContent content = readPemBlocks(file.bytes.text());
    if (content.broken) {
        return nothing(file, Fault::Damaged);
    }
    if (content.certificates.empty()) {
        return nothing(file, Fault::NoCertificate);
    }
    if (content.keys.empty() && !content.keyIsClosed) {
        PemContent beside = readPemBlocks(keyFile.bytes.text());
        content.keys = std::move(beside.keys);
        content.keyIsClosed = beside.keyIsClosed || isClosed(keyFile.outcome);
    }
    ParsedFile parsed = entriesOf(content.certificates, content.keys, content.keyIsClosed);
    if (parsed.entries.empty()) {
        return nothing(file, content.keys.empty() ? Fault::NoKey : Fault::ForeignKey);
    }
    return parsed;
}

ParsedFile parsePkcs12File(const FileText& file, const FileText& passwordFile) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return nothing(file, faultOf(file.outcome));
    }
    const Pkcs12Pointer pkcs12 = decodePkcs12(file.bytes.text());
    const Password password(passwordFile.bytes.text());
    if (!pkcs12 || !hasBearableIterations(pkcs12.get(), password.text())) {
        return nothing(file, Fault::Damaged);
    }
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* others = nullptr;
    const int opened =
        PKCS12_parse(pkcs12.get(), password.text().c_str(), &key, &certificate, &others);
    std::vector<KeyPointer> keys;
    keys.emplace_back(key);
    std::vector<X509Pointer> certificates;
    certificates.emplace_back(certificate);
    const CertificateStack stack(others);
    if (opened != 1) {
        return nothing(file, Fault::WrongPassword);
    }
    if (!key || !certificate) {
        return nothing(file, key ? Fault::NoCertificate : Fault::NoKey);
    }
    for (int i = 0; i < sk_X509_num(others); ++i) {
        certificates.push_back(sharedReference(sk_X509_value(others, i)));
    }
    return entriesOf(certificates, keys, false);
}

ParsedFile parseAnchorFile(const FileText& file) {
    const ErrorQueueGuard errors;
    if (file.outcome != FileOutcome::read) {
        return nothing(file, faultOf(file.outcome));
    }
    ParsedFile parsed{{}, readPemBlocks(file.bytes.text()).certificates};
    if (parsed.anchors.empty()) {
        return nothing(file, Fault::NoCertificate);
    }
    return parsed;
}

} // namespace VexaSsl::openssl
