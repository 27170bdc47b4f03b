#include "chains/Der.h"

#include <arpa/inet.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

#include <ctime>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

Der lengthOf(std::size_t size) {
    if (size < 0x80) {
        return Der(1, static_cast<char>(size));
    }
    Der digits;
    for (; size != 0; size >>= 8) {
        digits.insert(digits.begin(), static_cast<char>(size & 0xFF));
    }
    return Der(1, static_cast<char>(0x80 | digits.size())) + digits;
}

} // namespace

Der tlv(unsigned char tag, const Der& content) {
    return Der(1, static_cast<char>(tag)) + lengthOf(content.size()) + content;
}

Der sequence(const std::vector<Der>& members) {
    Der content;
    for (const Der& member : members) {
        content += member;
    }
    return tlv(0x30, content);
}

Der identifier(const std::string& dotted) {
    ASN1_OBJECT* object = OBJ_txt2obj(dotted.c_str(), 1);
    if (!object) {
        throw std::invalid_argument("no object identifier: " + dotted);
    }
    const Der content(reinterpret_cast<const char*>(OBJ_get0_data(object)), OBJ_length(object));
    ASN1_OBJECT_free(object);
    return tlv(0x06, content);
}

// The shortest two's complement encoding.
Der integer(long value) {
    Der content;
    long rest = value;
    do {
        content.insert(content.begin(), static_cast<char>(rest & 0xFF));
        rest >>= 8;
    } while (rest != (content.front() < 0 ? -1 : 0));
    return tlv(0x02, content);
}

Der bits(const Der& content, unsigned char unused) {
    return tlv(0x03, Der(1, static_cast<char>(unused)) + content);
}

Der day(int fromNow) {
    static const std::time_t now = std::time(nullptr); // the same bytes for every certificate
    const std::time_t time = now + std::time_t{fromNow} * 24 * 60 * 60;
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    return tlv(0x18, Der(text, std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts)));
}

Der distinguished(const std::vector<std::string>& commonNames, unsigned char tag) {
    std::vector<Der> attributes;
    for (const std::string& name : commonNames) {
        attributes.push_back(tlv(0x31, sequence({identifier("2.5.4.3"), tlv(tag, name)})));
    }
    return sequence(attributes);
}

Der dns(const std::string& bytes) {
    return tlv(0x82, bytes);
}

Der addressBytes(const std::string& bytes) {
    return tlv(0x87, bytes);
}

Der address(const std::string& literal) {
    char bytes[16];
    if (inet_pton(AF_INET, literal.c_str(), bytes) == 1) {
        return addressBytes(std::string(bytes, 4));
    }
    if (inet_pton(AF_INET6, literal.c_str(), bytes) == 1) {
        return addressBytes(std::string(bytes, 16));
    }
    throw std::invalid_argument("no address: " + literal);
}

Der email(const std::string& bytes) {
    return tlv(0x81, bytes);
}

Der uri(const std::string& bytes) {
    return tlv(0x86, bytes);
}

Der directory(const std::string& commonName) {
    return tlv(0xA4, distinguished({commonName}));
}

Der extension(const std::string& dotted, bool critical, const Der& content) {
    const Der flag = critical ? tlv(0x01, "\xFF") : Der();
    return sequence({identifier(dotted), flag, tlv(0x04, content)});
}

std::string pemOf(const Der& bytes) {
    std::string text = "-----BEGIN CERTIFICATE-----\n";
    constexpr std::size_t bytesInALine = 48;
    for (std::size_t at = 0; at < bytes.size(); at += bytesInALine) {
        const Der part = bytes.substr(at, bytesInALine);
        char line[bytesInALine / 3 * 4 + 1];
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(line),
                        reinterpret_cast<const unsigned char*>(part.data()),
                        static_cast<int>(part.size()));
        text += std::string(line) + "\n";
    }
    return text + "-----END CERTIFICATE-----\n";
}

} // namespace VexaSsl::test
