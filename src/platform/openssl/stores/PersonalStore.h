// The local machine's personal store: the folder my/ of the certificate folder. Any thread.
#pragma once

#include "platform/openssl/stores/FolderCache.h"
#include "platform/openssl/stores/SourceFile.h"
#include "platform/openssl/stores/Store.h"

#include <filesystem>

namespace VexaSsl::openssl {

struct PersonalStore {
    FileOutcome outcome = FileOutcome::missing; // of listing the folder; missing: empty store
    StoreContentPointer content;                // never null
};

// Returns the store as the files are now; the same content object until one of them changes.
PersonalStore readPersonalStore();

// Returns the parsed files of the store.
FolderContentPointer readPersonalFiles();
// Returns whether the store reads files of this name: certificate, key and password files.
bool isPersonalStoreFile(const std::filesystem::path& name);

} // namespace VexaSsl::openssl
