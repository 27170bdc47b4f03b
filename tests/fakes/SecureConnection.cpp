#include "fakes/SecureConnection.h"

namespace VexaSsl::test {

void installSecurityPackage(ScriptedPlatform& platform) {
    platform.EnumerateSecurityPackagesW = [](ULONG* count, SecPkgInfoW** packages) {
        static wchar_t name[] = L"Schannel";
        static SecPkgInfoW package{};
        package.Name = name;
        *count = 1;
        *packages = &package;
        return SEC_E_OK;
    };
    platform.FreeContextBuffer = [](void*) { return SEC_E_OK; };
}

template class SecureStage<OpenSecureSocketStrategy>;

} // namespace VexaSsl::test
