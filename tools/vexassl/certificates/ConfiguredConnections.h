// Every connection that a configuration store names, with its options as a start would read them.
#pragma once

#include "VexaSsl/IConfig.h"
#include "common/LogCollector.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::tool {

struct ConfiguredConnection {
    std::string name;
    std::unique_ptr<LogCollector> log; // outlives the configuration
    std::unique_ptr<IConfig> config;
    std::string note; // why it reverts to plain text; usually empty
};

// wanted: the only names of interest; empty: all that the store names, in its order. Throws Failure
// (Usage) when ini file or store can't be read.
std::vector<ConfiguredConnection> configuredConnections(const std::string& iniFile,
                                                        const std::vector<std::string>& wanted);

} // namespace VexaSsl::tool
