// The certificate files of one folder, read once and kept until they change.
//
// While nothing has changed, asking costs one stat call for the folder and one for each file. Only
// the files now in the folder are kept. A cache may be used by any thread; the answers are
// immutable and shared. Caches are made once and never destroyed: OpenSSL cleans up at exit before
// static objects do.
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

// What a folder holds: parsed files in the order of their names (then those outside of the folder).
struct FolderContent {
    FileOutcome outcome = FileOutcome::missing; // of listing the folder
    std::vector<std::shared_ptr<const ParsedFile>> files;
};
using FolderContentPointer = std::shared_ptr<const FolderContent>;

// Files that are parsed together: a certificate file and, for instance, its key.
using FileGroup = std::vector<std::filesystem::path>;

class FolderCache {
public:
    // The groups of interest among the names in folder.
    using Grouping = std::function<std::vector<FileGroup>(const std::filesystem::path& folder,
                                                          const std::set<std::string>& names)>;
    // Parses the files of one group; must not fail but by std::bad_alloc.
    using Parsing = std::function<ParsedFile(const std::vector<FileText>& files)>;

    FolderCache(Grouping grouping, Parsing parsing, std::size_t fileSizeLimit);

    // The same object as long as folder and files have the same content.
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
    SnapshotPointer read(const std::filesystem::path& folder, const Snapshot* former) const;
    Group readGroup(const FileGroup& paths, const Group* former) const;

    const Grouping grouping;
    const Parsing parsing;
    const std::size_t fileSizeLimit;
    std::mutex reading;  // held while files are read
    std::mutex guarding; // held while newest is copied or replaced
    SnapshotPointer newest;
};

} // namespace VexaSsl::openssl
