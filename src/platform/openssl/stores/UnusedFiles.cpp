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

// mayBeMissing: a machine without trust anchors of its own has those of the system.
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

// Files that are never looked into, in the order of their names.
void addUnknownNames(const std::filesystem::path& folder, Unused& found) {
    std::set<std::filesystem::path> names;
    std::error_code unlisted; // told of already
    for (std::filesystem::directory_iterator at(folder, unlisted), end; !unlisted && at != end;
         at.increment(unlisted)) {
        names.insert(at->path().filename());
    }
    for (const std::filesystem::path& name : names) {
        if (!isHidden(name) && !isReadForPersonalStore(name)) {
            found.push_back({folder / name, platform::CertificateFileFault::UnknownExtension});
        }
    }
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

std::vector<UnusedCertificateFile> unusedCertificateFiles() {
    const auto folder = openssl::folderInForce();
    std::vector<UnusedCertificateFile> found;
    openssl::addFaults(*openssl::readPersonalFiles(), folder->personal, false, found);
    openssl::addUnknownNames(folder->personal, found);
    openssl::addFaults(*openssl::readAnchorFiles(), folder->anchors, true, found);
    return found;
}

} // namespace VexaSsl::platform
