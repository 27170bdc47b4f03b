// The certificate files of one folder, read once and cached until they change.
//
// A lookup without a change costs one stat call for the folder and one for each file. Only the
// files that are in the folder now are cached. Any thread; the results are immutable and shared.
// Caches are never destroyed, as OpenSSL cleans up at exit before static objects are destroyed.
#pragma once

#include "platform/openssl/stores/CertificateFile.h"
#include "platform/openssl/stores/SourceFile.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace VexaSsl::openssl {

// The parsed files of a folder in the order of their names, then those from outside of the folder.
struct FolderContent {
    FileOutcome outcome = FileOutcome::missing; // of listing the folder
    std::vector<std::shared_ptr<const ParsedFile>> files;
};
using FolderContentPointer = std::shared_ptr<const FolderContent>;

// Files that are parsed together, such as a certificate file and its key file.
using FileGroup = std::vector<std::filesystem::path>;

class FolderCache {
public:
    // Returns the groups to parse, given the names in folder.
    using GroupFiles = std::function<std::vector<FileGroup>(const std::filesystem::path& folder,
                                                            const std::set<std::string>& names)>;
    // Parses the files of one group. May throw std::bad_alloc only.
    using ParseGroup = std::function<ParsedFile(const std::vector<FileContents>& files)>;

    FolderCache(GroupFiles groupFiles, ParseGroup parseGroup, std::size_t fileSizeLimit);

    // Returns the content of folder; the same object until the folder or a file changes. Throws
    // std::bad_alloc.
    FolderContentPointer contentOf(const std::filesystem::path& folder);

private:
    struct Group {
        std::vector<Source> sources;
        std::shared_ptr<const ParsedFile> parsed;
    };
    struct Snapshot {
        Source folder;
        std::map<FileGroup, Group> groups;
        FolderContentPointer content;
    };
    using SnapshotPointer = std::shared_ptr<const Snapshot>;

    static bool isCurrent(const Snapshot& snapshot, const std::filesystem::path& folder);
    SnapshotPointer read(const std::filesystem::path& folder, const Snapshot* previous) const;
    Group readGroup(const FileGroup& paths, const Group* previous) const;

    const GroupFiles groupFiles;
    const ParseGroup parseGroup;
    const std::size_t fileSizeLimit;
    std::mutex readMutex; // held while files are read
    std::mutex mutex;     // held while newest is copied or replaced
    SnapshotPointer newest;
};

} // namespace VexaSsl::openssl
