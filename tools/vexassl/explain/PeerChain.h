// Gets the chain that a server sends, even if the library would refuse it: a handshake that
// verifies nothing, sends no data and only shows the certificates.
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
    std::string name;                // for server name indication; empty: the host
    std::string startTls;            // the STARTTLS protocol; empty: TLS begins at once
    std::chrono::seconds timeout{0}; // for the connection and the handshake; 0: none
};

// Connects and gets the chain. Throws Failure: CannotConnect, TimedOut, or Handshake when the peer
// refuses TLS or sends no certificate.
CertificateChain fetchPeerChain(const PeerQuestion& question);

struct TriedConnection {
    std::vector<LoggedLine> lines; // what the library logged; empty if TLS was never begun
    std::string failure;           // why TLS wasn't begun, or the error that a host sees
};

// Connects as a host of the library does, with encryption and its usual checks; closes at once.
TriedConnection tryConnection(const PeerQuestion& question);

} // namespace VexaSsl::tool
