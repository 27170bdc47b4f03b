#include "platform/openssl/stores/TrustAnchors.h"

#include "platform/openssl/stores/CertificateFolder.h"
#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/FolderProduct.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t fileSizeLimit = std::size_t{16} << 20;
const char* const systemBundle = "/etc/ssl/certs/ca-certificates.crt";

// The bundle is read with the folder's files, so that one look tells whether anything has changed.
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

// A machine may do without the bundle.
ParsedFile parseGroup(const std::vector<FileText>& files) {
    const bool isAbsentBundle =
        files[0].outcome == FileOutcome::missing && files[0].path == systemBundle;
    return isAbsentBundle ? ParsedFile() : parseAnchorFile(files[0]);
}

std::shared_ptr<X509_STORE> storeOf(const FolderContent& folder) {
    const ErrorQueueGuard errors;
    X509_STORE* made = X509_STORE_new();
    if (!made) {
        throw std::bad_alloc();
    }
    std::shared_ptr<X509_STORE> store(made, X509_STORE_free);
    for (const auto& file : folder.files) {
        for (const X509Pointer& anchor : file->anchors) {
            X509_check_purpose(anchor.get(), -1, 0); // decodes the extensions now, on one thread
            if (X509_STORE_add_cert(made, anchor.get()) != 1) {
                throw std::bad_alloc();
            }
        }
    }
    return store;
}

FolderProduct<X509_STORE>& anchorStore() {
    static auto& store = *new FolderProduct(groupFiles, parseGroup, fileSizeLimit, storeOf);
    return store;
}

} // namespace

std::shared_ptr<X509_STORE> trustStore() {
    return anchorStore().read(folderInForce()->anchors).product;
}

FolderContentPointer readAnchorFiles() {
    return anchorStore().readFiles(folderInForce()->anchors);
}

} // namespace VexaSsl::openssl
