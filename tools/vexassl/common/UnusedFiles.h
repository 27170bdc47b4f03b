// Files of certificates that aren't used, so that an administrator sees why a list is empty.
// Implemented for each system; empty where certificates aren't kept in files.
#pragma once

#include <string>
#include <vector>

namespace VexaSsl::tool {

struct UnusedFile {
    std::string path;   // printable
    std::string reason; // identifier; scripts depend on it
    std::string text;   // the reason for a user
};

// Returns the unused files of the current certificate folder, as this account sees them.
std::vector<UnusedFile> unusedFiles();

} // namespace VexaSsl::tool
