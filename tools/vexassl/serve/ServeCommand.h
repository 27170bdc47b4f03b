// vexassl serve: an echo server, with --www a page of connection facts, or with --starttls a mail
// server that discards mail. One stack for each connection, and a thread unless it has a port.
#pragma once

#include "common/Command.h"
#include "common/ExitStatus.h"
#include "serve/ServedConnection.h"

namespace VexaSsl::tool {

// Runs until SIGTERM or SIGINT, or until the requested number of connections has been served; then
// ends every connection, joins every thread, and returns. Called before the process has a second
// thread. Throws Failure: Usage, CannotConnect (no address to listen on), OwnCertificate.
ExitStatus runServe(const ServeOptions& options);

Command serveCommand();

} // namespace VexaSsl::tool
