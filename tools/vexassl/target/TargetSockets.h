// The sockets of a connection to a given host, at the bottom of its stack: whatever name the stack
// is asked to resolve, and so authenticates, the host is called.
//
// Belongs to one connection.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <memory>
#include <string>

namespace VexaSsl::tool {

// Builds the stack that the configuration asks for above such sockets. Throws as
// instantiateSocketStrategy does.
std::unique_ptr<ISocketStrategy> makeTargetStrategy(ILog& log, const IConfig& config,
                                                    const std::string& host);

} // namespace VexaSsl::tool
