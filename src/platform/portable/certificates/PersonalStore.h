// The local machine's personal store: the folder my/ of the certificate folder. Any thread.
#pragma once

#include "certificates/SourceFile.h"
#include "certificates/Store.h"

namespace VexaSsl::portable {

struct PersonalStore {
    FileOutcome outcome = FileOutcome::missing; // of listing the folder; missing: an empty store
    StoreContentPointer content;                // never null
};

// As the files are now; the same content as long as they are unchanged.
PersonalStore readPersonalStore();

} // namespace VexaSsl::portable
