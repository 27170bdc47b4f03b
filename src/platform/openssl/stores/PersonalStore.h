// The local machine's personal store: the folder my/ of the certificate folder. Any thread.
#pragma once

#include "platform/openssl/stores/FolderCache.h"
#include "platform/openssl/stores/SourceFile.h"
#include "platform/openssl/stores/Store.h"

#include <filesystem>

namespace VexaSsl::openssl {

struct PersonalStore {
    FileOutcome outcome = FileOutcome::missing; // of listing the folder; missing: an empty store
    StoreContentPointer content;                // never null
};

// As the files are now; the same content as long as they are unchanged.
PersonalStore readPersonalStore();

// The files that it is made of.
FolderContentPointer readPersonalFiles();
// Whether a file of this name is read for the store: for certificates, or for what opens them.
bool isReadForPersonalStore(const std::filesystem::path& name);

} // namespace VexaSsl::openssl
