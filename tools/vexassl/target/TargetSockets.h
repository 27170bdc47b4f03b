// The sockets of a connection to a given host, at the bottom of its stack: whatever name the stack
// is asked to resolve, and so authenticates, the host is called. A watch reads what they receive.
//
// Belongs to one connection. The watch is borrowed and outlives the stack.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"
#include "target/HandshakeWatch.h"

#include <memory>
#include <string>

namespace VexaSsl::tool {

// Builds the stack that the configuration asks for above such sockets. Throws as
// instantiateSocketStrategy does.
std::unique_ptr<ISocketStrategy> makeTargetStrategy(ILog& log, const IConfig& config,
                                                    const std::string& host, HandshakeWatch& watch);

} // namespace VexaSsl::tool
