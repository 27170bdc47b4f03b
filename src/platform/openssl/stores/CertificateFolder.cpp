#include "platform/openssl/stores/CertificateFolder.h"

#include "VexaPlatform/Certificates.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::openssl {
namespace {

using FolderPointer = std::shared_ptr<const CertificateFolder>;

struct FolderSetting {
    std::mutex mutex;
    FolderPointer folder = std::make_shared<const CertificateFolder>(VEXASSL_CERTIFICATE_FOLDER);
};

// Never destroyed: a thread may still open a store while the process exits.
FolderSetting& folderSetting() {
    static FolderSetting& setting = *new FolderSetting;
    return setting;
}

} // namespace

CertificateFolder::CertificateFolder(std::filesystem::path path)
    : path(std::move(path)), personal(this->path / "my"), anchors(this->path / "root") {}

std::shared_ptr<const CertificateFolder> currentFolder() {
    FolderSetting& setting = folderSetting();
    const std::lock_guard lock(setting.mutex);
    return setting.folder;
}

} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

void setCertificateFolder(const std::filesystem::path& folder) {
    openssl::FolderPointer resolved =
        std::make_shared<const openssl::CertificateFolder>(std::filesystem::absolute(folder));
    openssl::FolderSetting& setting = openssl::folderSetting();
    const std::lock_guard lock(setting.mutex);
    setting.folder.swap(resolved);
}

std::filesystem::path certificateFolder() {
    return openssl::currentFolder()->path;
}

} // namespace VexaSsl::platform
