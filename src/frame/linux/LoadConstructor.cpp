// Calls the entry point where the loader doesn't know of one: when the shared object is loaded.
// Notices of threads and of the end aren't imitated, since the entry point ignores them.
#include "frame/Module.h"
#include "frame/ModuleEntry.h"

#include <dlfcn.h>
#include <link.h>

namespace VexaSsl {

namespace {

// The loader's handle of the object that this code lies in. It counts as no use of the object,
// which can be unloaded all the same. Null when the loader doesn't tell.
HMODULE ownHandle() {
    Dl_info place{};
    link_map* object = nullptr;
    if (dladdr1(&vexaSslModule, &place, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0) {
        return nullptr;
    }
    void* handle = dlopen(object->l_name, RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle;
}

[[gnu::constructor]] void announceProcess() {
    enterModule(ownHandle(), DLL_PROCESS_ATTACH);
}

} // namespace

} // namespace VexaSsl
