#include "common/ExposedKeys.h"

#include "VexaPlatform/Certificates.h"
#include "common/Text.h"

#include <fcntl.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace fs = std::filesystem;

// The binding reads no larger certificate files either.
constexpr std::uintmax_t largestFile = 1U << 20U;

bool allows(const fs::path& path, fs::perms wanted) {
    std::error_code unknown;
    return (fs::status(path, unknown).permissions() & wanted) == wanted;
}

// An account that may not pass a folder above can't reach the file. The path is a canonical one.
bool everybodyReaches(const fs::path& file) {
    fs::path folder = file;
    do {
        folder = folder.parent_path();
        if (!allows(folder, fs::perms::others_exec)) {
            return false;
        }
    } while (folder.has_relative_path());
    return true;
}

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Doesn't wait for a writer if a pipe has replaced the file by now.
std::unique_ptr<std::FILE, Closer> openWithoutWaiting(const fs::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    return std::unique_ptr<std::FILE, Closer>(descriptor < 0 ? nullptr
                                                             : ::fdopen(descriptor, "rb"));
}

bool holdsPemKey(const fs::path& file) {
    const auto stream = openWithoutWaiting(file);
    std::string text(largestFile, '\0');
    text.resize(stream ? std::fread(text.data(), 1, text.size(), stream.get()) : 0);
    return text.find("PRIVATE KEY-----") != std::string::npos;
}

// The meaning of a folder's entry depends on its own name, not on the target of a link.
bool holdsKey(const fs::path& extension, const fs::path& file) {
    static const std::set<fs::path> secret = {".key", ".p12", ".pfx", ".password"};
    static const std::set<fs::path> pem = {".pem", ".crt", ".cer"};
    return secret.contains(extension) || (pem.contains(extension) && holdsPemKey(file));
}

// A link has no rights of its own; those of its target count.
bool isExposed(const fs::path& entry) {
    std::error_code unknown;
    const fs::path file = fs::canonical(entry, unknown);
    return !unknown && fs::is_regular_file(file, unknown) &&
           fs::file_size(file, unknown) <= largestFile && allows(file, fs::perms::others_read) &&
           everybodyReaches(file) && holdsKey(entry.extension(), file);
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
