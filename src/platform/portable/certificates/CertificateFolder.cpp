#include "VexaPlatform/Certificates.h"

#include <mutex>

namespace VexaSsl::portable {
namespace {

struct FolderSetting {
    std::mutex guarding;
    std::filesystem::path folder = VEXASSL_CERTIFICATE_FOLDER;
};

// Never destroyed: a thread may still open a store while the process exits.
FolderSetting& folderSetting() {
    static FolderSetting& setting = *new FolderSetting;
    return setting;
}

} // namespace
} // namespace VexaSsl::portable

namespace VexaSsl::platform {

void setCertificateFolder(const std::filesystem::path& folder) {
    std::filesystem::path resolved = std::filesystem::absolute(folder);
    portable::FolderSetting& setting = portable::folderSetting();
    const std::lock_guard lock(setting.guarding);
    setting.folder = std::move(resolved);
}

std::filesystem::path certificateFolder() {
    portable::FolderSetting& setting = portable::folderSetting();
    const std::lock_guard lock(setting.guarding);
    return setting.folder;
}

} // namespace VexaSsl::platform
