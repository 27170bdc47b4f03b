#include "platform/openssl/stores/FolderCache.h"

#include "platform/openssl/stores/OpenSslStart.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
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

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// Returns null with errno when the folder can't be opened. Tries again after a signal.
std::unique_ptr<DIR, CloseFolder> openFolder(const std::filesystem::path& folder) {
    DIR* opened = nullptr;
    do {
        opened = opendir(folder.c_str());
    } while (!opened && errno == EINTR);
    return std::unique_ptr<DIR, CloseFolder>(opened);
}

// Returns the next entry; null at the end, with errno 0, and on failure, with another errno.
const dirent* nextEntry(DIR* folder) {
    const dirent* entry = nullptr;
    do {
        errno = 0; // readdir sets it on failure only
        entry = readdir(folder);
    } while (!entry && errno == EINTR);
    return entry;
}

struct Listing {
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    std::set<std::string> names;
};

// The stamp is taken first, so that a change while the names are read is noticed later.
Listing listFolder(const std::filesystem::path& folder) {
    Listing listing;
    struct stat status {};
    if (statRetrying(folder, status) != 0) {
        listing.outcome = outcomeOfErrno(errno);
        return listing;
    }
    listing.stamp = stampOf(status);
    const auto open = openFolder(folder);
    if (!open) {
        const FileOutcome outcome = outcomeOfErrno(errno);
        listing.outcome = outcome == FileOutcome::missing ? FileOutcome::unusable : outcome;
        return listing;
    }
    while (const dirent* entry = nextEntry(open.get())) {
        listing.names.insert(entry->d_name);
    }
    listing.outcome = errno == 0 ? FileOutcome::read : FileOutcome::temporary;
    return listing;
}

bool haveSameContent(const std::vector<Source>& left, const std::vector<Source>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const Source& a, const Source& b) { return a.hasContentOf(b); });
}

} // namespace

FolderCache::FolderCache(GroupFiles groupFiles, ParseGroup parseGroup, std::size_t fileSizeLimit)
    : groupFiles(std::move(groupFiles)), parseGroup(std::move(parseGroup)),
      fileSizeLimit(fileSizeLimit) {}

FolderContentPointer FolderCache::contentOf(const std::filesystem::path& folder) {
    startOpenSsl(); // for the parsers
    const auto copyNewest = [this] {
        const std::lock_guard lock(mutex);
        return newest;
    };
    if (const SnapshotPointer current = copyNewest(); current && isCurrent(*current, folder)) {
        return current->content;
    }
    const std::lock_guard readLock(readMutex);
    const SnapshotPointer previous = copyNewest();
    if (previous && isCurrent(*previous, folder)) { // read by another thread meanwhile
        return previous->content;
    }
    SnapshotPointer snapshot = read(folder, previous.get());
    const std::lock_guard lock(mutex);
    newest = std::move(snapshot);
    return newest->content;
}

bool FolderCache::isCurrent(const Snapshot& snapshot, const std::filesystem::path& folder) {
    // As strings: comparing paths by element takes longer than everything else here.
    if (snapshot.folder.path.native() != folder.native() || !isUnchanged(snapshot.folder)) {
        return false;
    }
    return std::all_of(snapshot.groups.begin(), snapshot.groups.end(), [](const auto& group) {
        const std::vector<Source>& sources = group.second.sources;
        return std::all_of(sources.begin(), sources.end(), isUnchanged);
    });
}

FolderCache::SnapshotPointer FolderCache::read(const std::filesystem::path& folder,
                                               const Snapshot* previous) const {
    const Listing listing = listFolder(folder);
    // While the folder can't be listed for lack of resources, its previous content stays valid: the
    // process must not lose its trust anchors.
    if (listing.outcome == FileOutcome::temporary && previous && previous->folder.path == folder &&
        previous->folder.outcome == FileOutcome::read) {
        return std::make_shared<Snapshot>(*previous);
    }
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->folder = sourceOfFolder(folder, listing.outcome, listing.stamp);
    auto content = std::make_shared<FolderContent>();
    content->outcome = listing.outcome;
    for (const FileGroup& paths : groupFiles(folder, listing.names)) {
        const Group* previousGroup = nullptr;
        if (previous) {
            const auto found = previous->groups.find(paths);
            previousGroup = found == previous->groups.end() ? nullptr : &found->second;
        }
        Group group = readGroup(paths, previousGroup);
        content->files.push_back(group.parsed);
        snapshot->groups.emplace(paths, std::move(group));
    }
    const bool isSame = previous && previous->content->outcome == content->outcome &&
                        previous->content->files == content->files;
    if (isSame) {
        snapshot->content = previous->content;
    } else {
        snapshot->content = std::move(content);
    }
    return snapshot;
}

// An unchanged group isn't opened. One with new times but the same bytes isn't parsed again, so
// that its pointer stays the same. While a file can't be read for lack of resources or because of
// an I/O error, the previous content stays valid.
FolderCache::Group FolderCache::readGroup(const FileGroup& paths, const Group* previous) const {
    if (previous && std::all_of(previous->sources.begin(), previous->sources.end(), isUnchanged)) {
        return *previous;
    }
    Group group;
    std::vector<FileContents> files;
    for (const std::filesystem::path& path : paths) {
        files.push_back(readFile(path, fileSizeLimit));
        group.sources.push_back(sourceOf(files.back()));
    }
    const bool anyTemporary = std::any_of(files.begin(), files.end(), [](const FileContents& file) {
        return file.outcome == FileOutcome::temporary;
    });
    if (previous && anyTemporary) {
        return *previous;
    }
    const bool isSame = previous && haveSameContent(previous->sources, group.sources);
    group.parsed =
        isSame ? previous->parsed : std::make_shared<const ParsedFile>(parseGroup(files));
    return group;
}

} // namespace VexaSsl::openssl
