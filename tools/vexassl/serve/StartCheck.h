// The check at the start of serve: finds a missing certificate, a key that can't be read or an
// invalid option before the first client does.
#pragma once

#include "common/ToolLog.h"

namespace VexaSsl {
class IConfig;
}

namespace VexaSsl::tool {

// Makes a stack, and credentials when the connections of a server will need them: always with
// UseEncryption=True, with Opportunistically only when clients can switch.
// Throws Failure: Usage, OwnCertificate.
void checkStart(const IConfig& config, bool clientsCanSwitch, LinePrinter& printer);

} // namespace VexaSsl::tool
