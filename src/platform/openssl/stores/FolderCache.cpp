#include "platform/openssl/stores/FolderCache.h"

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

// Null with errno when the folder can't be opened; signals don't count.
std::unique_ptr<DIR, CloseFolder> openFolder(const std::filesystem::path& folder) {
    DIR* opened = nullptr;
    do {
        opened = opendir(folder.c_str());
    } while (!opened && errno == EINTR);
    return std::unique_ptr<DIR, CloseFolder>(opened);
}

// The next entry; null at the end with errno 0, and with another where reading failed.
const dirent* nextEntry(DIR* folder) {
    const dirent* entry = nullptr;
    do {
        errno = 0; // the only sign that the end is none
        entry = readdir(folder);
    } while (!entry && errno == EINTR);
    return entry;
}

struct Listing {
    FileOutcome outcome = FileOutcome::missing;
    FileStamp stamp;
    std::set<std::string> names;
};

// The stamp is taken first, so that what comes in while the names are read is noticed later.
Listing listFolder(const std::filesystem::path& folder) {
    Listing listing;
    struct stat status {};
    if (factsOf(folder, status) != 0) {
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

FolderCache::FolderCache(Grouping groupingRule, Parsing parsingRule, std::size_t limit)
    : grouping(std::move(groupingRule)), parsing(std::move(parsingRule)), fileSizeLimit(limit) {}

FolderContentPointer FolderCache::contentOf(const std::filesystem::path& folder) {
    const auto copyNewest = [this] {
        const std::lock_guard lock(guarding);
        return newest;
    };
    if (const SnapshotPointer kept = copyNewest(); kept && isCurrent(*kept, folder)) {
        return kept->content;
    }
    const std::lock_guard oneReader(reading);
    const SnapshotPointer former = copyNewest();
    if (former && isCurrent(*former, folder)) { // another thread has read it meanwhile
        return former->content;
    }
    SnapshotPointer fresh = read(folder, former.get());
    const std::lock_guard lock(guarding);
    newest = std::move(fresh);
    return newest->content;
}

bool FolderCache::isCurrent(const Snapshot& snapshot, const std::filesystem::path& folder) {
    // As texts: to compare paths piece by piece takes longer than all else here.
    if (snapshot.folder.path.native() != folder.native() || !isUnchanged(snapshot.folder)) {
        return false;
    }
    return std::all_of(snapshot.groups.begin(), snapshot.groups.end(), [](const auto& group) {
        const std::vector<Source>& sources = group.second.sources;
        return std::all_of(sources.begin(), sources.end(), isUnchanged);
    });
}

FolderCache::SnapshotPointer FolderCache::read(const std::filesystem::path& folder,
                                               const Snapshot* former) const {
    const Listing listing = listFolder(folder);
    // While the folder can't be listed for want of descriptors, what was in it goes on: nobody must
    // lose the trust anchors by that.
    if (listing.outcome == FileOutcome::temporary && former && former->folder.path == folder &&
        former->folder.outcome == FileOutcome::read) {
        auto kept = std::make_shared<Snapshot>(*former);
        kept->folder.settled = false;
        return kept;
    }
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->folder = sourceOfFolder(folder, listing.outcome, listing.stamp);
    auto content = std::make_shared<FolderContent>();
    content->outcome = listing.outcome;
    for (const FileGroup& paths : grouping(folder, listing.names)) {
        const Group* formerGroup = nullptr;
        if (former) {
            const auto found = former->groups.find(paths);
            formerGroup = found == former->groups.end() ? nullptr : &found->second;
        }
        Group group = readGroup(paths, formerGroup);
        content->files.push_back(group.parsed);
        snapshot->groups.emplace(paths, std::move(group));
    }
    const bool same = former && former->content->outcome == content->outcome &&
                      former->content->files == content->files;
    if (same) {
        snapshot->content = former->content;
    } else {
        snapshot->content = std::move(content);
    }
    return snapshot;
}

// An unchanged group isn't even opened; one with new times and the old bytes isn't parsed again, so
// that whoever compares pointers sees no change. While the process is short of descriptors or the
// disk fails, what was read before goes on.
FolderCache::Group FolderCache::readGroup(const FileGroup& paths, const Group* former) const {
    if (former && std::all_of(former->sources.begin(), former->sources.end(), isUnchanged)) {
        return *former;
    }
    Group group;
    std::vector<FileText> files;
    for (const std::filesystem::path& path : paths) {
        files.push_back(readFile(path, fileSizeLimit));
        group.sources.push_back(sourceOf(files.back()));
    }
    const bool failedForNow = std::any_of(files.begin(), files.end(), [](const FileText& file) {
        return file.outcome == FileOutcome::temporary;
    });
    if (former && failedForNow) {
        group = *former;
        group.sources.front().settled = false;
        return group;
    }
    const bool same = former && haveSameContent(former->sources, group.sources);
    group.parsed = same ? former->parsed : std::make_shared<const ParsedFile>(parsing(files));
    return group;
}

} // namespace VexaSsl::openssl
