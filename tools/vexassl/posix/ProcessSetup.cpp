#include "ProcessSetup.h"

#include <csignal>

namespace VexaSsl::tool {

void setUpProcess() {
    std::signal(SIGPIPE, SIG_IGN);
}

std::vector<std::string> commandArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

} // namespace VexaSsl::tool
