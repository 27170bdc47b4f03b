#include "platform/openssl/stores/PersonalStore.h"

#include "platform/openssl/stores/CertificateFolder.h"
#include "platform/openssl/stores/FolderValue.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

constexpr std::size_t fileSizeLimit = std::size_t{1} << 20;

bool isPkcs12(const std::filesystem::path& name) {
    const std::filesystem::path extension = name.extension();
    return extension == ".p12" || extension == ".pfx";
}

bool isCertificateFile(const std::filesystem::path& name) {
    const std::filesystem::path extension = name.extension();
    return extension == ".pem" || extension == ".crt" || extension == ".cer";
}

// Returns each certificate file, with its key or password file if that exists: x.pem and x.key,
// x.p12 and x.p12.password.
std::vector<FileGroup> groupFiles(const std::filesystem::path& folder,
                                  const std::set<std::string>& names) {
    std::vector<FileGroup> groups;
    for (const std::filesystem::path name : names) {
        std::filesystem::path secondFile = name;
        if (isPkcs12(name)) {
            secondFile += ".password";
        } else if (isCertificateFile(name)) {
            secondFile.replace_extension(".key");
        } else {
            continue;
        }
        FileGroup group{folder / name};
        if (names.contains(secondFile.native())) {
            group.push_back(folder / secondFile);
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

ParsedFile parseGroup(const std::vector<FileContents>& files) {
    static const FileContents missing;
    const FileContents& secondFile = files.size() > 1 ? files[1] : missing;
    return isPkcs12(files[0].path) ? parsePkcs12File(files[0], secondFile)
                                   : parsePersonalFile(files[0], secondFile);
}

std::shared_ptr<const StoreContent> contentOf(const FolderContent& folder) {
    std::vector<CertificatePointer> entries;
    for (const auto& file : folder.files) {
        entries.insert(entries.end(), file->entries.begin(), file->entries.end());
    }
    return std::make_shared<const StoreContent>(std::move(entries));
}

FolderValue<const StoreContent>& personalStore() {
    static auto& store = *new FolderValue(groupFiles, parseGroup, fileSizeLimit, contentOf);
    return store;
}

} // namespace

PersonalStore readPersonalStore() {
    const auto store = personalStore().read(currentFolder()->personal);
    return {store.files->outcome, store.value};
}

FolderContentPointer readPersonalFiles() {
    return personalStore().readFiles(currentFolder()->personal);
}

bool isPersonalStoreFile(const std::filesystem::path& name) {
    const std::filesystem::path extension = name.extension();
    return isPkcs12(name) || isCertificateFile(name) || extension == ".key" ||
           extension == ".password";
}

} // namespace VexaSsl::openssl
