// Contract: wide text in files. These functions hide the differences between systems in opening a
// wide stream in text mode. Any thread may call any of them.
#pragma once

#include <filesystem>
#include <fstream>
#include <ios>
#include <istream>
#include <string>

namespace VexaSsl::platform {

// Opens path on stream in text mode with the conversion of the process's global locale. In the
// classic locale each byte is one unit up to 0xFF, in both directions, and writing a higher unit
// fails. A file ends at the first 0x1A where the system's text mode ends it there, as on Windows. A
// failure sets the stream's failbit. Other processes may read and write the file meanwhile.
void openTextFile(std::wfstream& stream, const std::filesystem::path& path,
                  std::ios_base::openmode mode);
void openTextFile(std::wifstream& stream, const std::filesystem::path& path);

// Reads one line without its terminator, LF or CR LF. Returns false at the end of the file.
bool getTextLine(std::wistream& stream, std::wstring& line);

// Returns the path named by text that was read from a file opened with openTextFile.
std::filesystem::path pathFromFileText(const std::wstring& text);
// Returns the path as wide text for a log line.
std::wstring pathToText(const std::filesystem::path& path);

} // namespace VexaSsl::platform
