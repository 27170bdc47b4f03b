#include "platform/contract/TextFiles.h"

namespace VexaSsl::platform {

// The runtime's streams open a file in text mode and share it for reading and writing, and the
// conversion of the classic locale is byte by byte.

void openTextFile(std::wfstream& stream, const std::filesystem::path& path,
                  std::ios_base::openmode mode) {
    stream.open(path, mode);
}

void openTextFile(std::wifstream& stream, const std::filesystem::path& path) {
    stream.open(path);
}

// Text mode has already replaced every CR LF by LF.
bool getTextLine(std::wistream& stream, std::wstring& line) {
    return static_cast<bool>(std::getline(stream, line));
}

std::filesystem::path pathFromFileText(const std::wstring& text) {
    return text;
}

std::wstring pathToText(const std::filesystem::path& path) {
    return path.native();
}

} // namespace VexaSsl::platform
