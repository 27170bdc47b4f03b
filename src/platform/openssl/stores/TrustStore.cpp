#include "platform/openssl/stores/TrustAnchors.h"

#include "platform/openssl/stores/CertificateFolder.h"
#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/FolderValue.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t fileSizeLimit = std::size_t{16} << 20;
const char* const systemBundle = "/etc/ssl/certs/ca-certificates.crt";

// The bundle is in the same cache as the folder's files, so that one check covers all.
std::vector<FileGroup> groupFiles(const std::filesystem::path& folder,
                                  const std::set<std::string>& names) {
    std::vector<FileGroup> groups;
    for (const std::filesystem::path name : names) {
        const std::filesystem::path extension = name.extension();
        if (extension == ".pem" || extension == ".crt" || extension == ".cer") {
            groups.push_back({folder / name});
        }
    }
    groups.push_back({systemBundle});
    return groups;
}

// A machine may have no bundle.
ParsedFile parseGroup(const std::vector<FileContents>& files) {
    const bool isAbsentBundle =
        files[0].outcome == FileOutcome::missing && files[0].path == systemBundle;
    return isAbsentBundle ? ParsedFile() : parseAnchorFile(files[0]);
}

std::shared_ptr<X509_STORE> storeOf(const FolderContent& folder) {
    const ErrorQueueGuard errors;
    std::shared_ptr<X509_STORE> store(orOutOfMemory(X509_STORE_new()), X509_STORE_free);
    for (const auto& file : folder.files) {
        for (const X509Pointer& anchor : file->anchors) {
            // As in Certificate's constructor.
            X509_check_purpose(anchor.get(), X509_PURPOSE_ANY, 0);
            orOutOfMemory(X509_STORE_add_cert(store.get(), anchor.get()));
        }
    }
    return store;
}

FolderValue<X509_STORE>& anchorStore() {
    static auto& store = *new FolderValue(groupFiles, parseGroup, fileSizeLimit, storeOf);
    return store;
}

} // namespace

std::shared_ptr<X509_STORE> trustStore() {
    return anchorStore().read(currentFolder()->anchors).value;
}

FolderContentPointer readAnchorFiles() {
    return anchorStore().readFiles(currentFolder()->anchors);
}

} // namespace VexaSsl::openssl
