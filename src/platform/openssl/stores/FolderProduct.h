// What is made of all files of a certificate folder, made again only when one of them has changed.
// Any thread; what it returns is shared and doesn't change.
#pragma once

#include "platform/openssl/stores/FolderCache.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

namespace VexaSsl::openssl {

template <class Product>
class FolderProduct {
public:
    using Making = std::shared_ptr<Product> (*)(const FolderContent& files);
    struct Result {
        FolderContentPointer files;
        std::shared_ptr<Product> product;
    };

    FolderProduct(FolderCache::Grouping grouping, FolderCache::Parsing parsing,
                  std::size_t fileSizeLimit, Making make)
        : cache(std::move(grouping), std::move(parsing), fileSizeLimit), make(make) {}

    FolderContentPointer readFiles(const std::filesystem::path& folder) {
        return cache.contentOf(folder);
    }

    // Throws std::bad_alloc.
    Result read(const std::filesystem::path& folder) {
        FolderContentPointer files = readFiles(folder);
        const std::lock_guard lock(guarding);
        if (files != newest.files) {
            newest.product = make(*files);
            newest.files = std::move(files);
        }
        return newest;
    }

private:
    FolderCache cache;
    const Making make;
    std::mutex guarding; // held while newest is read or replaced
    Result newest;
};

} // namespace VexaSsl::openssl
