// The DER types that a certificate consists of. Each function returns a complete encoding.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace VexaSsl::test {

inline std::string tagged(unsigned char tag, const std::string& content) {
    std::string length;
    for (std::size_t rest = content.size(); rest > 0; rest >>= 8) {
        length.insert(length.begin(), static_cast<char>(rest & 0xFF));
    }
    std::string all(1, static_cast<char>(tag));
    if (content.size() >= 0x80) {
        all += static_cast<char>(0x80 | length.size());
    } else if (length.empty()) {
        length.assign(1, '\0');
    }
    return all + length + content;
}

inline std::string concatenated(std::initializer_list<std::string> parts) {
    std::string all;
    for (const std::string& part : parts) {
        all += part;
    }
    return all;
}

inline std::string sequence(std::initializer_list<std::string> parts) {
    return tagged(0x30, concatenated(parts));
}
inline std::string setOf(const std::string& content) {
    return tagged(0x31, content);
}
inline std::string explicitTag(unsigned char number, const std::string& content) {
    return tagged(static_cast<unsigned char>(0xA0 | number), content);
}
inline std::string octetString(const std::string& content) {
    return tagged(0x04, content);
}
inline std::string bitString(const std::string& content) {
    return tagged(0x03, std::string(1, '\0') + content);
}
inline std::string utf8String(const std::string& text) {
    return tagged(0x0C, text);
}
inline std::string generalizedTime(const std::string& text) {
    return tagged(0x18, text);
}
// bytes: big-endian, not negative.
inline std::string integer(const std::string& bytes) {
    return tagged(0x02, bytes);
}
inline std::string booleanTrue() {
    return tagged(0x01, "\xFF");
}
inline std::string nullValue() {
    return tagged(0x05, "");
}

// text: "1.2.840".
inline std::string objectIdentifier(std::string_view text) {
    std::string content;
    unsigned long first = 0;
    for (int position = 0; !text.empty(); ++position) {
        const std::size_t dot = text.find('.');
        unsigned long number = 0;
        for (const char digit : text.substr(0, dot)) {
            number = number * 10 + static_cast<unsigned long>(digit - '0');
        }
        text.remove_prefix(dot == std::string_view::npos ? text.size() : dot + 1);
        if (position == 0) {
            first = number * 40;
            continue;
        }
        if (position == 1) {
            number += first;
        }
        std::string groups(1, static_cast<char>(number & 0x7F));
        for (number >>= 7; number > 0; number >>= 7) {
            groups.insert(groups.begin(), static_cast<char>(0x80 | (number & 0x7F)));
        }
        content += groups;
    }
    return tagged(0x06, content);
}

} // namespace VexaSsl::test
