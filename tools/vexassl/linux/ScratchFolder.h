// A private folder of symbolic links in the system's folder for temporary files. It is removed at
// the end and when SIGINT, SIGTERM or SIGHUP ends the process.
//
// One at a time.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::tool {

class ScratchFolder {
public:
    // Throws std::filesystem::filesystem_error.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // Absolute.
    const std::filesystem::path& path() const { return folder; }
    // Adds a subfolder or a link below the folder. Throws std::filesystem::filesystem_error.
    void addFolder(const std::string& name);
    void addLink(const std::string& name, const std::filesystem::path& target);

private:
    std::filesystem::path folder;
};

} // namespace VexaSsl::tool
