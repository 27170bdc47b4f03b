// Two ends of one secured connection whose network can be replaced after the handshake, so that the
// library's own work is measured and not the sockets'.
#pragma once

#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::bench {

// Takes everything and shows nothing; its lines stay below the threshold.
class SilentLog : public ILog {
public:
    void log(Severity, const std::wstring&) override {}
    void setMinimumSeverity(Severity) override {}
};

// What lies below a stack: the sockets, until the handshake is done. From then on what is sent is
// collected or dropped, and what is received is what was put here, a piece for each read.
class Wire {
public:
    bool isNetwork = true;
    bool collects = false;
    std::string collected;
    std::vector<std::string> pieces; // to be read, the next one last
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

// Made once, used by one benchmark after another. Nothing is in flight between them.
SecuredPair& securedPair();

// A folder that lasts as long as the program.
const std::string& temporaryFolder();

} // namespace VexaSsl::bench
