#include "VexaPlatform/Breakpoints.h"
#include "platform/contract/WindowsBase.h"

#include <atomic>
#include <csignal>

namespace VexaSsl::linux {
namespace {

std::atomic<bool> breakpointsAreOn = false;

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

void setBreakpoints(bool on) noexcept {
    linux::breakpointsAreOn = on;
}

// A tracer is no sign of a debugger: strace is one too.
void DebugBreak() {
    if (linux::breakpointsAreOn) {
        std::raise(SIGTRAP);
    }
}

} // namespace VexaSsl::platform
