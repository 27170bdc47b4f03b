#include "ProcessSetup.h"

#include <csignal>

namespace VexaSsl::tool {

void setUpProcess() {
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace VexaSsl::tool
