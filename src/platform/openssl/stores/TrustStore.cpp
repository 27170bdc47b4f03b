#include "platform/openssl/stores/TrustAnchors.h"

#include "platform/openssl/stores/CertificateFolder.h"
#include "platform/openssl/stores/CertificateObject.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t fileSizeLimit = 16 << 20;
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

class TrustStoreCache {
public:
    FolderContentPointer readFiles(const std::filesystem::path& folder) {
        return cache.contentOf(folder);
    }

    std::shared_ptr<X509_STORE> read(const std::filesystem::path& folder) {
        FolderContentPointer files = readFiles(folder);
        const std::lock_guard lock(guarding);
        if (files != builtFrom) {
            store = storeOf(*files);
            builtFrom = std::move(files);
        }
        return store;
    }

private:
    FolderCache cache{groupFiles, parseGroup, fileSizeLimit};
    std::mutex guarding;
    FolderContentPointer builtFrom;
    std::shared_ptr<X509_STORE> store;
};

TrustStoreCache& storeCache() {
    static TrustStoreCache& cache = *new TrustStoreCache;
    return cache;
}

} // namespace

std::shared_ptr<X509_STORE> trustStore() {
    return storeCache().read(folderInForce()->anchors);
}

FolderContentPointer readAnchorFiles() {
    return storeCache().readFiles(folderInForce()->anchors);
}

} // namespace VexaSsl::openssl
