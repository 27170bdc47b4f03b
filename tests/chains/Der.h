// Encodes certificates byte by byte, so that any encoding can be made, however wrong. An encoded
// value is a string of its bytes.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::test {

using Der = std::string;

Der tlv(unsigned char tag, const Der& content);
Der sequence(const std::vector<Der>& members);
Der identifier(const std::string& dotted);
Der integer(long value);
Der bits(const Der& content, unsigned char unused = 0);
// The time this number of days from now.
Der day(int fromNow);
// A subject or issuer of common names, as UTF-8 unless the tag says otherwise; may be empty.
Der distinguished(const std::vector<std::string>& commonNames, unsigned char tag = 0x0C);

// Alternative names with these bytes.
Der dns(const std::string& bytes);
Der address(const std::string& literal); // "127.0.0.1", "::1"
Der addressBytes(const std::string& bytes);
Der email(const std::string& bytes);
Der uri(const std::string& bytes);
Der directory(const std::string& commonName);

Der extension(const std::string& dotted, bool critical, const Der& content);

// The bytes as a PEM certificate, valid or not.
std::string pemOf(const Der& bytes);

} // namespace VexaSsl::test
