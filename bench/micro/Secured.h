// Both ends of an encrypted connection whose network is replaced after the handshake, so that only
// the library's own work is measured.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::bench {

// Drops every line, as a host does with lines below its threshold.
class SilentLog : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

// The network below a stack: sockets during the handshake. After it sent data is collected or
// dropped, and each read receives one of the pieces.
class Wire {
public:
    bool isNetwork = true;
    bool collects = false;
    std::string collected;
    std::vector<std::string> pieces; // to be received, the next one last
};

struct Secured {
    std::shared_ptr<Wire> wire = std::make_shared<Wire>();
    std::unique_ptr<ISocketStrategy> stack;
    SOCKET socket = INVALID_SOCKET;

    void send(const char* data, int size);
    int recv(char* data, int size);
};

struct SecuredPair {
    Secured client;
    Secured server;
};

// Returns the one pair, which all benchmarks use in turn. Nothing is in transit between them.
SecuredPair& securedPair();

// Returns a folder that exists until the program ends.
const std::string& temporaryFolder();

} // namespace VexaSsl::bench
