// The files of trust anchors: the folder root/ of the certificate folder, and the system's bundle.
// Any thread.
#pragma once

#include "platform/openssl/stores/FolderCache.h"

namespace VexaSsl::openssl {

// As the files are now; the same content as long as they are unchanged.
FolderContentPointer readAnchorFiles();

} // namespace VexaSsl::openssl
