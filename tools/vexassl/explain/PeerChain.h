// The chain that a server sends, also one that the library would refuse: a handshake that judges
// nothing and carries nothing, only to be shown the certificates.
//
// Belongs to one thread.
#pragma once

#include "common/HostNetwork.h"
#include "common/LogCollector.h"
#include "explain/CertificateFile.h"

#include <chrono>
#include <string>
#include <vector>

namespace VexaSsl::tool {

struct PeerQuestion {
    Endpoint target;
    std::string name;                // what to tell the server we look for; the host's if empty
    std::string startTls;            // the protocol to ask for TLS in; empty: it comes at once
    std::chrono::seconds timeout{0}; // for the connection and the handshake; 0 waits for ever
};

// Connects and asks for the chain. Throws Failure: CannotConnect, TimedOut, or Handshake when the
// peer doesn't agree on TLS or showed no certificate.
CertificateChain fetchPeerChain(const PeerQuestion& question);

struct TriedConnection {
    std::vector<LoggedLine> lines; // what the library logged; empty where it didn't come to TLS
    std::string failure;           // what kept it from TLS, or the host's view of its failure
};

// Connects as a host of the library does, with encryption and its usual checks; closes at once.
TriedConnection tryConnection(const PeerQuestion& question);

} // namespace VexaSsl::tool
