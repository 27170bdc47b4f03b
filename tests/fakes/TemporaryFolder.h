// A folder of its own for one test, removed with everything in it.
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

    // Writes a file with exactly these bytes and gives its path.
    std::filesystem::path write(const std::filesystem::path& name, const std::string& bytes) const;

    // The bytes of a file; empty when there is none.
    std::string read(const std::filesystem::path& name) const;
    // The same with every line end of the system as one LF.
    std::string readText(const std::filesystem::path& name) const;

private:
    std::filesystem::path folder;
};

} // namespace VexaSsl::test
