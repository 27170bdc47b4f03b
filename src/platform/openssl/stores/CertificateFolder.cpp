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
    std::mutex guarding;
    FolderPointer folder = std::make_shared<const CertificateFolder>(VEXASSL_CERTIFICATE_FOLDER);
};

// Never destroyed: a thread may still open a store while the process exits.
FolderSetting& folderSetting() {
    static FolderSetting& setting = *new FolderSetting;
    return setting;
}

} // namespace

CertificateFolder::CertificateFolder(std::filesystem::path folder)
    : whole(std::move(folder)), personal(whole / "my"), anchors(whole / "root") {}

std::shared_ptr<const CertificateFolder> folderInForce() {
    FolderSetting& setting = folderSetting();
    const std::lock_guard lock(setting.guarding);
    return setting.folder;
}

} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

void setCertificateFolder(const std::filesystem::path& folder) {
    openssl::FolderPointer resolved =
        std::make_shared<const openssl::CertificateFolder>(std::filesystem::absolute(folder));
    openssl::FolderSetting& setting = openssl::folderSetting();
    const std::lock_guard lock(setting.guarding);
    setting.folder.swap(resolved);
}

std::filesystem::path certificateFolder() {
    return openssl::folderInForce()->whole;
}

} // namespace VexaSsl::platform
