// vexassl connect: standard input or a file to the peer and the peer to standard output, both at
// once.
#pragma once

#include "common/Command.h"
#include "common/ConnectionOptions.h"
#include "common/ExitStatus.h"
#include <string>

namespace VexaSsl::tool {

struct ConnectOptions {
    ConnectionOptions connection;
    std::string target;    // HOST:PORT
    std::string startTls;  // one of startTlsProtocols, or empty
    std::string sendFile;  // empty: standard input
    bool keepOpen = false; // the sending side, at the end of the input
    unsigned count = 1;
    bool json = false;
};

// Tries every address of the host in order, then talks until the peer closes. At the end of the
// input the sending side of the socket is shut down, unless it is to be kept open. Throws Failure
// with any status; with json it prints the failure itself and gives the status.
ExitStatus runConnect(const ConnectOptions& options);

Command connectCommand();

} // namespace VexaSsl::tool
