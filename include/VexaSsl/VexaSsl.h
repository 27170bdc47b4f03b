// Start here. What a host does, in order:
//   1. make an ILog                       VexaSsl/ILog.h, or the ready-made VexaSsl/SslLog.h
//   2. get the IConfig of a connection    VexaSsl/Configuration.h, VexaSsl/IConfig.h
//   3. call instantiateSocketStrategy     below
//   4. use the strategy for every socket operation of that connection
//                                         VexaSsl/ISocketStrategy.h
//
// The log must outlive the rest; the IConfig may go after step 3.
#pragma once

#include "VexaSsl/Configuration.h"           // IWYU pragma: export
#include "VexaSsl/ConfigurationDefinition.h" // IWYU pragma: export
#include "VexaSsl/Export.h"                  // IWYU pragma: export
#include "VexaSsl/IConfig.h"                 // IWYU pragma: export
#include "VexaSsl/ILog.h"                    // IWYU pragma: export
#include "VexaSsl/IOtlsProvider.h"           // IWYU pragma: export
#include "VexaSsl/ISocketStrategy.h"         // IWYU pragma: export
#include "VexaSsl/TextConversion.h"          // IWYU pragma: export

#include <memory>

namespace VexaSsl {

// Builds the stack of strategies that the configuration asks for and returns its outermost object,
// which owns the rest; never null. Also sets the log's threshold to MinimumSeverityToLog.
//
// Throws std::out_of_range("invalid configuration") when UseEncryption, InjectLogLayers or
// MinimumSeverityToLog has a bad value, or the connection name doesn't allow opportunistic TLS; the
// reason is in the log. Throws std::runtime_error when encryption is asked for and the system's
// security package is missing. May run on several threads at once, as far as the log allows.
VEXASSL_API std::unique_ptr<ISocketStrategy> instantiateSocketStrategy(ILog& log,
                                                                       const IConfig& config);

} // namespace VexaSsl
