// Texts of any origin on their way to a terminal or a script. Names in certificates, files and
// arguments may hold anything: text here never fails, and what is shown never steers a terminal.
//
// No shared state: any thread may call any of them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// The characters of a wide text, whose units have 16 or 32 bits by the system. What is no character
// (half a surrogate pair, a number beyond the last character) becomes U+FFFD.
std::u32string characters(std::wstring_view text);
// The characters of UTF-8. Every byte that isn't part of one becomes U+FFFD.
std::u32string characters(std::string_view bytes);

bool isUtf8(std::string_view bytes);

std::string toUtf8(std::u32string_view text);

// UTF-8 for a person's eyes: zero characters are left out; control characters other than tabs, and
// what turns the direction of text, become "?".
std::string printableText(std::u32string_view text);
std::string printableText(std::wstring_view text);
std::string printableText(std::string_view bytes);

// The library widens a file's bytes one to one, so a name from the command line meets the same name
// in a file only when it is widened in that way, whatever the encoding of both.
std::wstring widenedBytes(std::string_view bytes);

// UTF-8 as wide text, for DNS names: none has characters that don't fit into a unit, and what
// doesn't becomes "?".
std::wstring wideName(std::string_view name);

// The bytes of a path; UTF-8 where the system's paths are texts.
std::string pathText(const std::filesystem::path& path);

// The path that an argument names. Made from the text without this it would be another one where
// narrow texts are taken to be in a code page.
std::filesystem::path pathOfText(std::string_view text);

// The way back, for showing a text out of a file as it was written: when every unit is a byte and
// the bytes are UTF-8, its characters, else those of the wide text as it is.
std::u32string charactersOfFileText(std::wstring_view text);

} // namespace VexaSsl::tool
