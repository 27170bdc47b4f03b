#include "Commands.h"

#include "CertificatesCommand.h"
#include "CheckCommand.h"
#include "ConnectCommand.h"
#include "ExplainCommand.h"
#include "ServeCommand.h"
#include "VersionCommand.h"
#include <vector>

namespace VexaSsl::tool {

std::vector<Command> allCommands() {
    return {
        checkCommand(), explainCommand(), certificatesCommand(),
        serveCommand(), connectCommand(), versionCommand(),
    };
}

} // namespace VexaSsl::tool
