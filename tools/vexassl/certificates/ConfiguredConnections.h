// Every connection in a configuration store, with its options as a start would read them.
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

// wanted: the names to return; empty: all in the store, in its order. Throws Failure (Usage) when
// the ini file or the store can't be read.
std::vector<ConfiguredConnection> configuredConnections(const std::string& iniFile,
                                                        const std::vector<std::string>& wanted);

} // namespace VexaSsl::tool
