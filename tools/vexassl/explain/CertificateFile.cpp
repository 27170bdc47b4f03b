#include "explain/CertificateFile.h"

#include "common/ExitStatus.h"
#include "common/Text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t fileSizeLimit = std::size_t{16} << 20;
constexpr std::size_t certificateLimit = 10'000;

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw Failure(ExitStatus::Usage, "[" + path + "] " + reason);
}

std::string readBounded(std::istream& stream, const std::string& path) {
    std::string content;
    std::array<char, 65536> buffer{};
    do {
        stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        content.append(buffer.data(), static_cast<std::size_t>(stream.gcount()));
        if (content.size() > fileSizeLimit) {
            refuse(path, "is too large for a file of certificates");
        }
    } while (stream);
    if (stream.bad()) {
        refuse(path, "cannot be read");
    }
    return content;
}

std::string readFile(const std::string& path) {
    if (path == "-") {
        return readBounded(std::cin, path);
    }
    std::ifstream file(pathOfText(path), std::ios::binary);
    if (!file) {
        refuse(path, "cannot be opened");
    }
    return readBounded(file, path);
}

// Returns the value of a base64 digit, or nothing.
std::optional<std::uint32_t> digitValue(char digit) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t value = digits.find(digit);
    if (value == std::string_view::npos) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

bool isBlank(char unit) {
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

// Returns nothing for invalid base64.
std::optional<std::vector<BYTE>> decodeBase64(std::string_view text) {
    std::vector<BYTE> bytes;
    std::uint32_t held = 0; // bits that don't fill a byte yet
    int bits = 0;
    bool ended = false;
    for (const char unit : text) {
        if (isBlank(unit)) {
            continue;
        }
        const auto value = digitValue(unit);
        if (unit == '=') {
            ended = true;
            continue;
        }
        if (!value || ended) {
            return std::nullopt;
        }
        held = (held << 6 | *value) & 0xFFFF;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<BYTE>(held >> bits & 0xFF));
        }
    }
    return bytes;
}

void addCertificate(CertificateChain& chain, const std::vector<BYTE>& encoded,
                    const std::string& path) {
    const std::string number = std::to_string(chain.certificates.size() + 1);
    PCCERT_CONTEXT added = nullptr;
    if (!platform::CertAddEncodedCertificateToStore(
            chain.store.get(), X509_ASN_ENCODING, encoded.data(),
            static_cast<DWORD>(encoded.size()), CERT_STORE_ADD_ALWAYS, &added)) {
        refuse(path, "is damaged: its certificate " + number + " can't be read");
    }
    chain.certificates.emplace_back(added);
    if (chain.certificates.size() > certificateLimit) {
        refuse(path, "has more certificates than any chain");
    }
}

void addBlocks(CertificateChain& chain, std::string_view text, const std::string& path) {
    constexpr std::string_view beginning = "-----BEGIN CERTIFICATE-----";
    constexpr std::string_view end = "-----END CERTIFICATE-----";
    for (std::size_t at = 0; (at = text.find(beginning, at)) != std::string_view::npos;) {
        at += beginning.size();
        const std::size_t stop = text.find(end, at);
        const auto encoded = decodeBase64(text.substr(at, stop == text.npos ? 0 : stop - at));
        if (stop == text.npos || !encoded) {
            refuse(path, "is damaged: its certificate " +
                             std::to_string(chain.certificates.size() + 1) + " can't be read");
        }
        addCertificate(chain, *encoded, path);
        at = stop;
    }
}

bool looksEncoded(std::string_view content) {
    constexpr char sequenceTag = 0x30;
    return content.starts_with(sequenceTag) && content.find("-----BEGIN") == std::string_view::npos;
}

} // namespace

CertificateChain readCertificates(const std::string& path) {
    const std::string content = readFile(path);
    CertificateChain chain;
    chain.store = StoreHandle(platform::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    if (!chain.store) {
        throw Failure(ExitStatus::Usage, "no memory for the certificates");
    }
    if (looksEncoded(content)) {
        addCertificate(chain, {content.begin(), content.end()}, path);
    } else {
        addBlocks(chain, content, path);
    }
    if (chain.certificates.empty()) {
        refuse(path, "holds no certificate (PEM or DER)");
    }
    chain.cameAlong = chain.store.get();
    chain.leaf = CertificateHandle(
        platform::CertDuplicateCertificateContext(chain.certificates.front().get()));
    return chain;
}

} // namespace VexaSsl::tool
