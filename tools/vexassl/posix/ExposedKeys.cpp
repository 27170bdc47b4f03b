#include "ExposedKeys.h"

#include "Text.h"
#include "VexaPlatform/Certificates.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace fs = std::filesystem;

// As the binding reads no larger certificate files either.
constexpr std::uintmax_t largestFile = 1U << 20U;

bool allows(const fs::path& path, fs::perms wanted) {
    std::error_code unknown;
    return (fs::status(path, unknown).permissions() & wanted) == wanted;
}

// Whoever may not pass a folder above doesn't come to the file.
bool everybodyReaches(const fs::path& folder) {
    std::error_code lost;
    fs::path above = fs::canonical(folder, lost);
    while (!lost && allows(above, fs::perms::others_exec) && above.has_relative_path()) {
        above = above.parent_path();
    }
    return !lost && !above.has_relative_path() && allows(above, fs::perms::others_exec);
}

bool holdsPemKey(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return text.find("PRIVATE KEY-----") != std::string::npos;
}

bool holdsKey(const fs::path& file) {
    static const std::set<fs::path> secret = {".key", ".p12", ".pfx", ".password"};
    static const std::set<fs::path> pem = {".pem", ".crt", ".cer"};
    const fs::path extension = file.extension();
    return secret.contains(extension) || (pem.contains(extension) && holdsPemKey(file));
}

bool isExposed(const fs::path& file) {
    std::error_code unknown;
    return fs::is_regular_file(file, unknown) && fs::file_size(file, unknown) <= largestFile &&
           allows(file, fs::perms::others_read) && everybodyReaches(file.parent_path()) &&
           holdsKey(file);
}

} // namespace

std::vector<std::string> exposedKeys() {
    std::set<fs::path> files;
    std::error_code unlisted;
    for (fs::directory_iterator at(platform::certificateFolder() / "my", unlisted), end;
         !unlisted && at != end; at.increment(unlisted)) {
        if (isExposed(at->path())) {
            files.insert(at->path());
        }
    }
    std::vector<std::string> printable;
    for (const fs::path& file : files) {
        printable.push_back(printableText(pathText(file)));
    }
    return printable;
}

} // namespace VexaSsl::tool
