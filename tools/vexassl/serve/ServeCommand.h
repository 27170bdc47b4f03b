// vexassl serve: an echo server, with --www a page of connection facts, or with --starttls a mail
// server that keeps no mail. Many connections at once, one stack and one thread each.
#pragma once

#include "common/Command.h"
#include "common/ExitStatus.h"
#include "serve/ServedConnection.h"

namespace VexaSsl::tool {

// Runs until SIGTERM or SIGINT, or until the wanted number of connections is served; then ends
// every connection, joins every thread, and returns.
// To be called before the process has a second thread.
// Throws Failure: Usage, CannotConnect (nothing to listen on), OwnCertificate.
ExitStatus runServe(const ServeOptions& options);

Command serveCommand();

} // namespace VexaSsl::tool
