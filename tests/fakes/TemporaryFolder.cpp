#include "fakes/TemporaryFolder.h"

#include <fstream>
#include <iterator>
#include <random>
#include <system_error>

namespace VexaSsl::test {

// Tests run in parallel: creating the folder shows whether the name was free.
TemporaryFolder::TemporaryFolder() {
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    std::random_device number;
    do {
        folder = parent / ("vexassl-test-" + std::to_string(number()));
    } while (!std::filesystem::create_directory(folder));
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::filesystem::path TemporaryFolder::write(const std::filesystem::path& name,
                                             const std::string& bytes) const {
    std::ofstream out(path(name), std::ios_base::binary);
    out << bytes;
    return path(name);
}

std::string TemporaryFolder::read(const std::filesystem::path& name) const {
    std::ifstream in(path(name), std::ios_base::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string TemporaryFolder::readText(const std::filesystem::path& name) const {
    std::ifstream in(path(name));
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace VexaSsl::test
