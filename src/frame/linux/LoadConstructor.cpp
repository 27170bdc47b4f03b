// Calls the entry point when the shared object is loaded. It ignores other notifications, which are
// therefore not imitated.
#include "frame/Module.h"
#include "frame/ModuleEntry.h"

#include <dlfcn.h>
#include <link.h>

namespace VexaSsl {

namespace {

// Returns the loader's handle of this shared object, or null. The handle doesn't keep the object
// loaded.
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

[[gnu::constructor]] void callEntryPoint() {
    enterModule(ownHandle(), DLL_PROCESS_ATTACH);
}

} // namespace

} // namespace VexaSsl
