// What both commands are told about a connection, and the configuration made from it.
//
// Threads: none of this is shared; makeStrategy is called by one thread at a time.
#pragma once

#include "VexaSsl/VexaSsl.h"
#include "common/Command.h"
#include "common/ToolLog.h"

#include <chrono>
#include <memory>
#include <string>

namespace VexaSsl::tool {

struct ConnectionOptions {
    std::string iniFile; // empty: the defaults, which mean plain sockets
    std::string connectionName = "Default";
    std::string certificates; // empty: the folder built into the platform
    unsigned timeoutSeconds = 300;

    std::chrono::seconds timeout() const { return std::chrono::seconds(timeoutSeconds); }
};

// The flags that fill it.
Flags connectionFlags(ConnectionOptions& options);
// --certificates alone, for commands that make no connection.
Flag certificatesFlag(std::string& target);

// The loaded configuration with the log that it borrows.
class LoadedConfiguration {
public:
    // Throws Failure (Usage) when the certificate folder isn't there, or when an ini file was given
    // and the library fell back to plain sockets: a user who asked for a file never gets clear text
    // by surprise.
    LoadedConfiguration(const ConnectionOptions& options, LinePrinter& printer);

    const IConfig& config() const { return *loaded; }
    IConfig& config() { return *loaded; }

private:
    ToolLog log;
    std::unique_ptr<IConfig> loaded;
};

// What UseEncryption and InjectLogLayers say, whatever the case of the word.
bool isPlain(const IConfig& config);
bool isOpportunistic(const IConfig& config);
bool hasLogLayers(const IConfig& config);

// A file that says that traffic goes in the clear is taken at its word, with a notice. A connection
// that could be switched to TLS counts too: for a caller that isn't going to.
void warnOfClearText(const ConnectionOptions& options, const IConfig& config, LinePrinter& printer);

// A stack for one connection. Throws Failure (Usage) with the log's reason on a bad value.
std::unique_ptr<ISocketStrategy> makeStrategy(ToolLog& log, const IConfig& config);

// What a cause means, in the words of the failure line, with the library's own line behind it.
std::string causeText(const Diagnosis& diagnosis);

} // namespace VexaSsl::tool
