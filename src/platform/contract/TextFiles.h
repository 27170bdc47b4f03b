// Contract: how wide text meets files. It hides what differs between systems when a wide stream is
// opened in text mode. Any thread may call any of them.
#pragma once

#include <filesystem>
#include <fstream>
#include <ios>
#include <istream>
#include <string>

namespace VexaSsl::platform {

// Opens path on stream in text mode with the conversion of the process's global locale. In the
// classic locale one byte is one unit up to 0xFF, in both directions, and a higher unit fails the
// write. Failure: the stream's failbit. Other openers may read and write the file at the same time.
void openTextFile(std::wfstream& stream, const std::filesystem::path& path,
                  std::ios_base::openmode mode);
void openTextFile(std::wifstream& stream, const std::filesystem::path& path);

// Reads one line without its end; LF and CR LF end a line. Result: false at the end of the file.
bool getTextLine(std::wistream& stream, std::wstring& line);

// The path that a text read by openTextFile names.
std::filesystem::path pathFromFileText(const std::wstring& text);
// The path as wide text for a log line.
std::wstring pathToText(const std::filesystem::path& path);

} // namespace VexaSsl::platform
