// A value made from the files of a certificate folder, and made again only when one of them has
// changed. Any thread; the values are immutable and shared.
#pragma once

#include "platform/openssl/stores/FolderCache.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::openssl {

template <class Value>
class FolderValue {
public:
    using Make = std::shared_ptr<Value> (*)(const FolderContent& files);
    struct Result {
        FolderContentPointer files;
        std::shared_ptr<Value> value;
    };

    FolderValue(FolderCache::GroupFiles groupFiles, FolderCache::ParseGroup parseGroup,
                std::size_t fileSizeLimit, Make make)
        : cache(std::move(groupFiles), std::move(parseGroup), fileSizeLimit), make(make) {}

    FolderContentPointer readFiles(const std::filesystem::path& folder) {
        return cache.contentOf(folder);
    }

    // Throws std::bad_alloc.
    Result read(const std::filesystem::path& folder) {
        FolderContentPointer files = readFiles(folder);
        const std::lock_guard lock(mutex);
        if (files != newest.files) {
            newest.value = make(*files);
            newest.files = std::move(files);
        }
        return newest;
    }

private:
    FolderCache cache;
    const Make make;
    std::mutex mutex; // held while newest is read or replaced
    Result newest;
};

} // namespace VexaSsl::openssl
