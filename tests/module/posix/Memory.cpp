#include "module/Memory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace VexaSsl::test {

std::size_t memoryInUse() {
    ::malloc_trim(0);
    std::ifstream pages("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    std::size_t shared = 0;
    pages >> all >> resident >> shared;
    return (resident - shared) * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace VexaSsl::test
