#include "platform/linux/base/LastError.h"

#include "VexaPlatform/HostSockets.h"
#include "platform/contract/WindowsBase.h"

namespace VexaSsl::portable {

int& lastErrorSlot() noexcept {
    thread_local int slot = 0;
    return slot;
}

} // namespace VexaSsl::portable

namespace VexaSsl::platform {

int WSAGetLastError() {
    return portable::lastErrorSlot();
}

void WSASetLastError(int error) {
    portable::lastErrorSlot() = error;
}

DWORD GetLastError() {
    return static_cast<DWORD>(portable::lastErrorSlot());
}

} // namespace VexaSsl::platform
