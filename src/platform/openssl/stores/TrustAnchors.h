// The files of the trust anchors: root/ of the certificate folder, and the system's bundle. Any
// thread.
#pragma once

#include "platform/openssl/stores/FolderCache.h"

namespace VexaSsl::openssl {

// Returns the files as they are now; the same object until one of them changes.
FolderContentPointer readAnchorFiles();

} // namespace VexaSsl::openssl
