#include "frame/ModuleEntry.h"

#include "frame/Module.h"
#include "frame/ModuleVersion.h"
#include "platform/contract/WindowsBase.h"

#include "VexaSsl/ModuleVersion.h"
#include "VexaSsl/VModuleVersion.h"
#include <cstdint>

namespace VexaSsl {

BOOL enterModule(HINSTANCE instance, DWORD reason) {
    if (reason != DLL_PROCESS_ATTACH) {
        return 1;
    }
    // A shared runtime of C gets the notifications itself. A static one would get them through this
    // module: Microsoft's then keeps the data of threads that have ended, MinGW's has none.
    platform::DisableThreadLibraryCalls(instance);
    if (!moduleInitialised) {
        vexaSslModule.moduleHandle = instance;
        moduleInitialised = true;
    }
    return 1;
}

extern "C" BOOL DllMain(HINSTANCE instance, DWORD reason, void*) {
    return enterModule(instance, reason);
}

extern "C" std::int32_t moduleVersion_VexaSsl_22_0_3() {
    return VEXASSL_REVISION;
}

} // namespace VexaSsl

VModuleVersion& VModuleVersion::operator=(const VModuleVersion& other) = default;

std::int32_t VModuleVersion::getLastError() const {
    return lastError;
}
