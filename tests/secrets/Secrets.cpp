#include "secrets/Secrets.h"

#include <openssl/evp.h>

#include <cctype>
#include <random>
#include <set>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr std::size_t textPart = 8;
constexpr std::size_t hexadecimalPart = 6;
constexpr std::size_t base64Part = 9;
constexpr std::size_t encodedPart = 12; // of both encodings

std::string hexadecimal(const std::string& bytes) {
    std::string digits;
    for (const char byte : bytes) {
        digits += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
        digits += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15];
    }
    return digits;
}

std::string base64(const std::string& bytes) {
    unsigned char text[encodedPart + 1];
    EVP_EncodeBlock(text, reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()));
    return reinterpret_cast<const char*>(text);
}

template <typename Parts>
void search(std::string_view text, std::size_t size, const Parts& parts, const char* form,
            std::set<std::string>& found) {
    for (std::size_t at = 0; at + size <= text.size(); ++at) {
        const auto part = parts.find(text.substr(at, size));
        if (part != parts.end()) {
            found.insert(part->second + " as " + form);
        }
    }
}

// Returns the text in lower case without separators between digits.
std::string joinedDigits(std::string_view text) {
    std::string joined;
    for (const char unit : text) {
        const auto byte = static_cast<unsigned char>(unit);
        if (std::isspace(byte) == 0 && std::ispunct(byte) == 0) {
            joined += static_cast<char>(std::tolower(byte));
        }
    }
    return joined;
}

std::string joinedLines(std::string_view text) {
    std::string joined;
    for (const char unit : text) {
        if (unit != '\n' && unit != '\r') {
            joined += unit;
        }
    }
    return joined;
}

// Text printed in units of several bytes.
std::string withoutZeros(std::string_view text) {
    std::string narrow;
    for (const char unit : text) {
        if (unit != '\0') {
            narrow += unit;
        }
    }
    return narrow;
}

} // namespace

void Secrets::add(const std::string& name, const std::string& bytes) {
    if (bytes.size() < base64Part) {
        throw std::invalid_argument("too short a secret: " + name);
    }
    ++names;
    for (std::size_t at = 0; at + textPart <= bytes.size(); ++at) {
        texts.emplace(bytes.substr(at, textPart), name);
    }
    for (std::size_t at = 0; at + hexadecimalPart <= bytes.size(); ++at) {
        hexadecimals.emplace(hexadecimal(bytes.substr(at, hexadecimalPart)), name);
    }
    for (std::size_t at = 0; at + base64Part <= bytes.size(); ++at) {
        base64s.emplace(base64(bytes.substr(at, base64Part)), name);
    }
}

std::vector<std::string> Secrets::foundIn(std::string_view text) const {
    std::set<std::string> found;
    search(text, textPart, texts, "text", found);
    search(withoutZeros(text), textPart, texts, "wide text", found);
    search(joinedDigits(text), encodedPart, hexadecimals, "hexadecimal digits", found);
    search(joinedLines(text), encodedPart, base64s, "base64", found);
    return {found.begin(), found.end()};
}

// Each byte of a secret becomes one unit in every code page.
std::vector<std::string> Secrets::foundIn(std::wstring_view text) const {
    std::string narrow;
    for (const wchar_t unit : text) {
        narrow += static_cast<char>(unit & 0xFF);
    }
    return foundIn(std::string_view(narrow));
}

std::string markedText(unsigned number, std::size_t size) {
    const std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::mt19937 numbers(number);
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += letters[numbers() % letters.size()];
    }
    return text;
}

} // namespace VexaSsl::test
