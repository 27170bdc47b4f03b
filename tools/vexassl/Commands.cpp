#include "Commands.h"

#include "ConnectCommand.h"
#include "ServeCommand.h"

namespace VexaSsl::tool {

std::vector<Command> allCommands() {
    return {
        serveCommand(),
        connectCommand(),
    };
}

} // namespace VexaSsl::tool
