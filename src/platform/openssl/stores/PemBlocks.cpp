#include "platform/openssl/stores/PemBlocks.h"

#include <openssl/pem.h>

#include <cstddef>
#include <string_view>
#include <utility>

namespace VexaSsl::openssl {
namespace {

// One PEM block. It may be a key, so it is overwritten before it is freed.
class Block {
public:
    Block() = default;
    ~Block() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_clear_free(bytes, static_cast<std::size_t>(size));
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    bool read(BIO* bio) { return PEM_read_bio(bio, &name, &header, &bytes, &size) == 1; }

    std::string_view title() const { return name; }
    std::string_view headerText() const { return header; }
    std::string_view content() const {
        return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)};
    }

private:
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* bytes = nullptr;
    long size = 0;
};

bool reachedEnd() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

X509Pointer decodeCertificate(std::string_view der, bool withTrust) {
    const auto* at = reinterpret_cast<const unsigned char*>(der.data());
    const auto size = static_cast<long>(der.size());
    return X509Pointer(withTrust ? d2i_X509_AUX(nullptr, &at, size) : d2i_X509(nullptr, &at, size));
}

KeyPointer decodeKey(std::string_view der) {
    const auto* at = reinterpret_cast<const unsigned char*>(der.data());
    return KeyPointer(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(der.size())));
}

void addCertificate(X509Pointer certificate, PemContent& content) {
    if (certificate) {
        content.certificates.push_back(std::move(certificate));
    } else {
        content.isDamaged = true;
    }
}

void addKey(KeyPointer key, PemContent& content) {
    if (key) {
        content.keys.push_back(std::move(key));
    } else {
        content.isDamaged = true;
    }
}

void addBlock(const Block& block, PemContent& content) {
    const std::string_view title = block.title();
    if (title == PEM_STRING_X509 || title == PEM_STRING_X509_OLD) {
        return addCertificate(decodeCertificate(block.content(), false), content);
    }
    if (title == PEM_STRING_X509_TRUSTED) {
        return addCertificate(decodeCertificate(block.content(), true), content);
    }
    if (!title.ends_with("PRIVATE KEY")) {
        return;
    }
    const bool isEncrypted =
        title == PEM_STRING_PKCS8 || block.headerText().find("ENCRYPTED") != std::string_view::npos;
    if (isEncrypted) {
        content.hasUnreadableKey = true;
    } else {
        addKey(decodeKey(block.content()), content);
    }
}

// A DER file contains one object.
PemContent readDer(std::string_view der) {
    PemContent content;
    if (X509Pointer certificate = decodeCertificate(der, false)) {
        content.certificates.push_back(std::move(certificate));
    } else {
        addKey(decodeKey(der), content);
    }
    return content;
}

} // namespace

PemContent readPemBlocks(std::string_view text) {
    constexpr char sequenceTag = 0x30;
    if (text.empty()) {
        return {};
    }
    if (text.starts_with(sequenceTag) && text.find("-----BEGIN") == std::string_view::npos) {
        return readDer(text);
    }
    PemContent content;
    const auto bio =
        orOutOfMemory(BioPointer(BIO_new_mem_buf(text.data(), static_cast<int>(text.size()))));
    for (;;) {
        const ErrorQueueGuard errors;
        Block block;
        if (block.read(bio.get())) {
            addBlock(block, content);
            continue;
        }
        if (reachedEnd()) {
            return content;
        }
        // Each attempt consumes at least one line, so the end is reached. Intact blocks that follow
        // are still returned; a file of trust anchors uses them.
        content.isDamaged = true;
    }
}

} // namespace VexaSsl::openssl
