#include "starttls/Protocols.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

using namespace std::string_view_literals;

// Message 1: the extended operation that asks for TLS, identified by its object identifier.
constexpr std::string_view request = "\x30\x1d\x02\x01\x01\x77\x18\x80\x16"
                                     "1.3.6.1.4.1.1466.20037"sv;

constexpr char sequenceTag = 0x30;
constexpr std::string_view messageOne = "\x02\x01\x01"sv;
constexpr char extendedResponseTag = 0x78;
constexpr std::string_view resultCode = "\x0a\x01"sv; // an ENUMERATED of one byte
constexpr std::size_t longestAnswer = 4096;

unsigned valueOf(char byte) {
    return static_cast<unsigned char>(byte);
}

// A length: one byte below 128, or a byte with the top bit and the count of the bytes that follow.
std::size_t readLength(CleartextDialog& dialog) {
    const unsigned first = valueOf(dialog.readBytes(1)[0]);
    if (first < 0x80) {
        return first;
    }
    const unsigned count = first & 0x7F;
    if (count == 0 || count > 4) {
        dialog.refuse("the server's answer is no LDAP message");
    }
    std::size_t length = 0;
    for (const char byte : dialog.readBytes(count)) {
        length = length << 8 | valueOf(byte);
    }
    return length;
}

// Returns the contents after the tag and the length at the start of a text, or nothing when it is
// truncated.
std::string_view contentOf(std::string_view text) {
    if (text.size() < 2) {
        return {};
    }
    const unsigned first = valueOf(text[1]);
    return text.substr(std::min<std::size_t>(text.size(), first < 0x80 ? 2 : 2 + (first & 0x7F)));
}

} // namespace

void requestTlsOverLdap(CleartextDialog& dialog) {
    dialog.send(request);
    if (dialog.readBytes(1)[0] != sequenceTag) {
        dialog.refuse("the server's answer is no LDAP message");
    }
    const std::size_t length = readLength(dialog);
    if (length > longestAnswer) {
        dialog.refuse("the server's answer is too long");
    }
    const std::string message = dialog.readBytes(length);
    std::string_view rest = message;
    if (!rest.starts_with(messageOne)) {
        dialog.refuse("the server answers something else than the request for TLS");
    }
    rest.remove_prefix(messageOne.size());
    if (!rest.starts_with(extendedResponseTag)) {
        dialog.refuse("the server answers something else than the request for TLS");
    }
    const std::string_view content = contentOf(rest);
    if (!content.starts_with(resultCode) || content.size() == resultCode.size()) {
        dialog.refuse("the server's answer is no LDAP message");
    }
    if (const unsigned code = valueOf(content[resultCode.size()]); code != 0) {
        dialog.refuse("the server refuses TLS with result code " + std::to_string(code));
    }
}

} // namespace VexaSsl::tool
