#include "VexaPlatform/Certificates.h"

#include "platform/openssl/stores/CertificateFile.h"
#include "platform/openssl/stores/CertificateFolder.h"
#include "platform/openssl/stores/FolderCache.h"
#include "platform/openssl/stores/PersonalStore.h"
#include "platform/openssl/stores/SourceFile.h"
#include "platform/openssl/stores/TrustAnchors.h"

#include <filesystem>
#include <set>
#include <system_error>
#include <vector>

namespace VexaSsl::openssl {
namespace {

using Unused = std::vector<platform::UnusedCertificateFile>;

// mayBeMissing: root/ may, as a machine can do without trust anchors of its own.
void addFaults(const FolderContent& content, const std::filesystem::path& folder, bool mayBeMissing,
               Unused& found) {
    const bool isListed = content.outcome == FileOutcome::read ||
                          (content.outcome == FileOutcome::missing && mayBeMissing);
    if (!isListed) {
        found.push_back({folder, faultOf(content.outcome)});
    }
    for (const auto& file : content.files) {
        if (file->unused) {
            found.push_back(*file->unused);
        }
    }
}

bool isHidden(const std::filesystem::path& name) {
    return name.native().front() == '.';
}

// Adds the files with other extensions, which are never opened, in the order of their names.
void addUnknownNames(const std::filesystem::path& folder, Unused& found) {
    std::set<std::filesystem::path> names;
    std::error_code error; // reported by addFaults
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.insert(entry->path().filename());
    }
    for (const std::filesystem::path& name : names) {
        if (!isHidden(name) && !isPersonalStoreFile(name)) {
            found.push_back({folder / name, platform::CertificateFileFault::UnknownExtension});
        }
    }
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

std::vector<UnusedCertificateFile> unusedCertificateFiles() {
    const auto folder = openssl::currentFolder();
    std::vector<UnusedCertificateFile> found;
    openssl::addFaults(*openssl::readPersonalFiles(), folder->personal, false, found);
    openssl::addUnknownNames(folder->personal, found);
    openssl::addFaults(*openssl::readAnchorFiles(), folder->anchors, true, found);
    return found;
}

} // namespace VexaSsl::platform
