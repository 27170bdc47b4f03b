#include "platform/contract/WindowsBase.h"

#include "platform/linux/base/BoundedFile.h"

#include <csignal>
#include <cstdlib>
#include <string_view>

namespace VexaSsl::linux {
namespace {

// TracerPid in /proc/self/status is the process that traces this one, 0 for none.
bool isTraced() {
    constexpr std::string_view label = "\nTracerPid:";
    char text[8192];
    std::size_t filled = 0;
    const Descriptor status = openForReading("/proc/self/status");
    if (!status || !readUpTo(status.get(), text, sizeof text - 1, filled)) {
        return false;
    }
    text[filled] = '\0';
    const std::string_view all(text, filled);
    const std::size_t at = all.find(label);
    return at != all.npos && std::strtol(text + at + label.size(), nullptr, 10) != 0;
}

} // namespace
} // namespace VexaSsl::linux

namespace VexaSsl::platform {

// Without a tracer SIGTRAP would end the process, and a peer can cause this call.
void DebugBreak() {
    if (linux::isTraced()) {
        std::raise(SIGTRAP);
    }
}

} // namespace VexaSsl::platform
