// The options that the commands with a connection share, and the configuration made from them.
//
// Threads: nothing is shared; makeStrategy is called by one thread at a time.
#pragma once

#include "VexaSsl/VexaSsl.h"
#include "common/Command.h"
#include "common/ToolLog.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace VexaSsl::tool {

struct ConnectionOptions {
    std::string iniFile; // empty: the defaults, which mean plain sockets
    std::string connectionName = "Default";
    std::string certificates; // empty: the platform's default folder
    unsigned timeoutSeconds = 300;
    bool quiet = false;
    bool verbose = false;

    std::chrono::seconds timeout() const { return std::chrono::seconds(timeoutSeconds); }
    LinePrinter::Verbosity verbosity() const {
        return quiet     ? LinePrinter::Verbosity::Quiet
               : verbose ? LinePrinter::Verbosity::Verbose
                         : LinePrinter::Verbosity::Usual;
    }
};

// The flags that fill the options.
Flags connectionFlags(ConnectionOptions& options);
// The flag --certificates alone, for commands without a connection.
Flag certificatesFlag(std::string& target);

// The loaded configuration and the log that it borrows.
class LoadedConfiguration {
public:
    // Throws Failure (Usage) when the certificate folder doesn't exist, or when an ini file was
    // given and the library fell back to plain sockets: who gives a file must not get clear text
    // instead.
    LoadedConfiguration(const ConnectionOptions& options, LinePrinter& printer);

    const IConfig& config() const { return *loaded; }
    IConfig& config() { return *loaded; }

private:
    ToolLog log;
    std::unique_ptr<IConfig> loaded;
};

// Compare UseEncryption and InjectLogLayers with a value, in any letter case.
bool isPlain(const IConfig& config);
bool isOpportunistic(const IConfig& config);
bool hasLogLayers(const IConfig& config);

// Prints a note when the ini file configures clear text. A connection that could be switched to TLS
// counts too: for a caller that doesn't switch.
void warnOfClearText(const ConnectionOptions& options, const IConfig& config, LinePrinter& printer);

// Makes a stack for one connection. Throws Failure (Usage), with the reason from the log, for an
// invalid value.
std::unique_ptr<ISocketStrategy> makeStrategy(ToolLog& log, const IConfig& config);

// The same for a stack that make builds.
std::unique_ptr<ISocketStrategy>
makeStrategy(const ToolLog& log, const std::function<std::unique_ptr<ISocketStrategy>()>& make);

// Returns the meaning of a cause, followed by the library's line.
std::string causeText(const Diagnosis& diagnosis);

} // namespace VexaSsl::tool
