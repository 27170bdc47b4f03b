// The stack of strategies above given sockets. instantiateSocketStrategy builds it above those of
// the system; the tool, above sockets of its own.
//
// Stateless; any thread.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"

#include <memory>

namespace VexaSsl {

// Returns the outermost strategy, which owns the rest. Throws as instantiateSocketStrategy does.
std::unique_ptr<ISocketStrategy> assembleStrategies(ILog& log, const IConfig& config,
                                                    std::unique_ptr<ISocketStrategy> sockets);

} // namespace VexaSsl
