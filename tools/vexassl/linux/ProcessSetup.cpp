#include "common/ProcessSetup.h"

#include <algorithm>
#include <csignal>

#include <sys/resource.h>

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::tool {

void setUpProcess() {
    std::signal(SIGPIPE, SIG_IGN);
}

std::size_t allowDescriptors(std::size_t wanted) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return wanted; // no limit is known
    }
    if (limit.rlim_cur < wanted) {
        limit.rlim_cur = std::min<rlim_t>(wanted, limit.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        ::getrlimit(RLIMIT_NOFILE, &limit);
    }
    return std::min<std::size_t>(wanted, limit.rlim_cur);
}

std::vector<std::string> commandArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

} // namespace VexaSsl::tool
