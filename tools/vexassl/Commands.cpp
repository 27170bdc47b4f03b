#include "Commands.h"

#include "certificates/CertificatesCommand.h"
#include "check/CheckCommand.h"
#include "connect/ConnectCommand.h"
#include "explain/ExplainCommand.h"
#include "serve/ServeCommand.h"
#include "version/VersionCommand.h"
#include <vector>

namespace VexaSsl::tool {

std::vector<Command> allCommands() {
    return {
        checkCommand(), explainCommand(), certificatesCommand(),
        serveCommand(), connectCommand(), versionCommand(),
    };
}

} // namespace VexaSsl::tool
