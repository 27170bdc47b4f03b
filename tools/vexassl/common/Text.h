// Conversion of texts of any origin for a terminal or a script. Names in certificates, files and
// arguments may hold anything: no function here fails, and printable text can't control a terminal.
//
// No shared state: any thread may call any function.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

// Returns the characters of a wide text, whose units have 16 or 32 bits, depending on the system.
// What is no character (half a surrogate pair, a number beyond the last character) becomes U+FFFD.
std::u32string characters(std::wstring_view text);
// Returns the characters of UTF-8. Each byte that isn't part of a character becomes U+FFFD.
std::u32string characters(std::string_view bytes);

bool isUtf8(std::string_view bytes);

std::string toUtf8(std::u32string_view text);

// Returns UTF-8 to show to a user: zero characters are removed; control characters other than tabs,
// and characters that change the direction of text, become "?".
std::string printableText(std::u32string_view text);
std::string printableText(std::wstring_view text);
std::string printableText(std::string_view bytes);

// Returns a word for a command line of a shell: quoted unless it is of plain characters only.
std::string shellWord(std::string_view word);

// Widens byte by byte, as the library does with files, so that a name from the command line equals
// the same name in a file, whatever their encoding.
std::wstring widenedBytes(std::string_view bytes);

// Returns UTF-8 as wide text, for DNS names. A character that doesn't fit into a unit becomes "?".
std::wstring wideName(std::string_view name);

// Returns the bytes of a path; UTF-8 where the system's paths are texts.
std::string pathText(const std::filesystem::path& path);

// Returns the path that an argument names. A path made from narrow text directly would be decoded
// by the code page on some systems.
std::filesystem::path pathOfText(std::string_view text);

// Undoes the widening, to show a text from a file as it was written: returns the characters of the
// UTF-8 when every unit is a byte and the bytes are UTF-8, else those of the wide text.
std::u32string charactersOfFileText(std::wstring_view text);

} // namespace VexaSsl::tool
