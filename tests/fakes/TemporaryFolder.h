// A folder for one test, removed by the destructor.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path(const std::filesystem::path& name) const { return folder / name; }

    // Writes a file with exactly these bytes and returns its path.
    std::filesystem::path write(const std::filesystem::path& name, const std::string& bytes) const;

    // Returns the bytes of a file, or an empty text if it does not exist.
    std::string read(const std::filesystem::path& name) const;
    // The same, with LF instead of each line end of the system.
    std::string readText(const std::filesystem::path& name) const;

private:
    std::filesystem::path folder;
};

} // namespace VexaSsl::test
