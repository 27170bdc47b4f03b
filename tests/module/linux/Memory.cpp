#include "module/Memory.h"

#include <fcntl.h>
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

std::size_t nextHandle() {
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    return static_cast<std::size_t>(next);
}

} // namespace VexaSsl::test
