// Files of certificates that count for nothing, so that an empty list isn't the last word. One
// source a system: only where certificates lie in files is there anything to tell.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct UnusedFile {
    std::string path;   // printable
    std::string reason; // scripts depend on it
    std::string text;   // the same for people
};

// As this account sees the certificate folder in force.
std::vector<UnusedFile> unusedFiles();

} // namespace VexaSsl::tool
