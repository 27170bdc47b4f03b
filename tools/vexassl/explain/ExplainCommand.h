// vexassl explain: why the chain of a server, of a file or of our own store is trusted or not.
#pragma once

#include "common/Command.h"
#include "common/ExitStatus.h"

#include <string>

namespace VexaSsl::tool {

struct ExplainOptions {
    std::string target;   // HOST:PORT; exactly one of target, file and storeName is given
    std::string startTls; // one of startTlsProtocols for a target that begins in the clear
    std::string file;
    std::string storeName; // found anywhere in a subject
    std::string name;      // empty: the host for a target, else none
    std::string at;        // empty: now
    std::string purpose;   // "server", "client", or empty for both
    std::string certificates;
    std::string root; // a file of further trust anchors
    unsigned timeoutSeconds = 30;
    bool json = false;
    bool pem = false;
};

// Prints the explanation. Returns Success for a chain that is trusted (without --purpose: for
// servers when it is a server's, for either purpose otherwise) and has the name; PeerNotTrusted,
// NameMismatch or, for our own store, OwnCertificate. Throws Failure.
ExitStatus runExplain(const ExplainOptions& options);

Command explainCommand();

} // namespace VexaSsl::tool
