// vexassl connect: sends standard input or a file to the peer and prints what the peer sends, at
// the same time.
#pragma once

#include "common/Command.h"
#include "common/ConnectionOptions.h"
#include "common/ExitStatus.h"
#include "target/DirectTls.h"
#include <string>

namespace VexaSsl::tool {

struct ConnectOptions {
    ConnectionOptions connection;
    DirectTlsOptions tls;
    std::string target;    // HOST:PORT
    std::string startTls;  // one of startTlsProtocols, or empty
    std::string sendFile;  // empty: standard input
    bool keepOpen = false; // the sending side stays open at the end of the input
    unsigned count = 1;
    bool json = false;
};

// Tries the addresses of the host in order, then talks to the first that answers until it closes.
// At the end of the input the sending side of the socket is shut down, unless it is to stay open.
// Throws Failure with any status; with json it prints the failure itself and returns the status.
ExitStatus runConnect(const ConnectOptions& options);

Command connectCommand();

} // namespace VexaSsl::tool
