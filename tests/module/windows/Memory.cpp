#include "module/Memory.h"

#include <windows.h>

#include <psapi.h>

namespace VexaSsl::test {

std::size_t memoryInUse() {
    PROCESS_MEMORY_COUNTERS_EX counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                         sizeof counters);
    return counters.PrivateUsage;
}

} // namespace VexaSsl::test
