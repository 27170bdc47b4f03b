#include "platform/linux/base/LastError.h"

#include "VexaPlatform/HostSockets.h"
#include "platform/contract/WindowsBase.h"

namespace VexaSsl::linux {

int& lastErrorSlot() noexcept {
    thread_local int slot = 0;
    return slot;
}

} // namespace VexaSsl::linux

namespace VexaSsl::platform {

int WSAGetLastError() {
    return linux::lastErrorSlot();
}

void WSASetLastError(int error) {
    linux::lastErrorSlot() = error;
}

DWORD GetLastError() {
    return static_cast<DWORD>(linux::lastErrorSlot());
}

} // namespace VexaSsl::platform
