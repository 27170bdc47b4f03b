#include "platform/contract/TextFiles.h"

namespace VexaSsl::platform {

// The library's streams open a file so that others may read and write it meanwhile, in text mode,
// and the classic conversion of this system's library is byte by byte.

void openTextFile(std::wfstream& stream, const std::filesystem::path& path,
                  std::ios_base::openmode mode) {
    stream.open(path, mode);
}

void openTextFile(std::wifstream& stream, const std::filesystem::path& path) {
    stream.open(path);
}

// Text mode has made one LF of every CR LF already.
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
