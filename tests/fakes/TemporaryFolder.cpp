#include "fakes/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace VexaSsl::test {

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vexassl-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("can't make a folder for the test");
    }
    folder = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::filesystem::path TemporaryFolder::write(const std::string& name,
                                             const std::string& bytes) const {
    std::ofstream out(path(name), std::ios_base::binary);
    out << bytes;
    return path(name);
}

std::string TemporaryFolder::read(const std::string& name) const {
    std::ifstream in(path(name), std::ios_base::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace VexaSsl::test
