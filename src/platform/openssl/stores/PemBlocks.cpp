#include "platform/openssl/stores/PemBlocks.h"

#include <openssl/pem.h>

#include <cstddef>
#include <string_view>
#include <utility>

namespace VexaSsl::openssl {
namespace {

// One block as OpenSSL's reader hands it out; it may be a key, so it is overwritten at the end.
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

    bool read(BIO* from) { return PEM_read_bio(from, &name, &header, &bytes, &size) == 1; }

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

void takeCertificate(X509Pointer certificate, PemContent& content) {
    if (certificate) {
        content.certificates.push_back(std::move(certificate));
    } else {
        content.broken = true;
    }
}

void takeKey(KeyPointer key, PemContent& content) {
    if (key) {
        content.keys.push_back(std::move(key));
    } else {
        content.broken = true;
    }
}

void takeBlock(const Block& block, PemContent& content) {
    const std::string_view title = block.title();
    if (title == PEM_STRING_X509 || title == PEM_STRING_X509_OLD) {
        return takeCertificate(decodeCertificate(block.content(), false), content);
    }
    if (title == PEM_STRING_X509_TRUSTED) {
        return takeCertificate(decodeCertificate(block.content(), true), content);
    }
    if (!title.ends_with("PRIVATE KEY")) {
        return;
    }
    const bool closed =
        title == PEM_STRING_PKCS8 || block.headerText().find("ENCRYPTED") != std::string_view::npos;
    if (closed) {
        content.keyIsClosed = true;
    } else {
        takeKey(decodeKey(block.content()), content);
    }
}

// Without the armour: one object and nothing else.
PemContent readDer(std::string_view der) {
    PemContent content;
    if (X509Pointer certificate = decodeCertificate(der, false)) {
        content.certificates.push_back(std::move(certificate));
    } else {
        takeKey(decodeKey(der), content);
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
            takeBlock(block, content);
            continue;
        }
        if (reachedEnd()) {
            return content;
        }
        // Each try takes at least a line, so this ends; what is intact behind the damage still
        // counts where the caller wants it.
        content.broken = true;
        if (BIO_pending(bio.get()) <= 0) {
            return content;
        }
    }
}

} // namespace VexaSsl::openssl
