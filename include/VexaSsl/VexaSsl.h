// Start here. What a host does, in order:
//   1. make an ILog                       VexaSsl/ILog.h, or the ready-made VexaSsl/SslLog.h
//   2. get the IConfig of a connection    VexaSsl/Configuration.h, VexaSsl/IConfig.h
//   3. call instantiateSocketStrategy     below
//   4. use the strategy for every socket operation of that connection
//                                         VexaSsl/ISocketStrategy.h
// and destroy them in the opposite order, before the library is unloaded.
//
// The other headers, in reading order:
//   VexaSsl/Sockets.h            the types of the socket operations
//   VexaPlatform/WinsockShapes.h the same on Linux
//   VexaPlatform/HostSockets.h   on Linux: creating and closing sockets, waiting, last errors
//   VexaPlatform/Certificates.h  on Linux: the certificate folder
//   VexaPlatform/SecurityFailure.h on Linux: why OpenSSL failed
//   VexaPlatform/Breakpoints.h   on Linux: the library's breakpoints
//   VexaSsl/IOtlsProvider.h      TLS switched on mid-stream
//   VexaSsl/IConnectionInfo.h    how a connection is secured, and why one failed
//   VexaSsl/TextConversion.h     wide and narrow text
//   VexaSsl/ModuleVersion.h, VexaSsl/VModuleVersion.h    the version of the loaded library
//   VexaSsl/KelException.h       what a call of an abstract operation throws
//
// Conventions of all headers; a comment mentions only what differs:
//   Ownership   A std::unique_ptr belongs to the caller. References and pointers are borrowed for
//               the call. The one exception is ILog&: configurations and strategies keep it, so the
//               log must outlive them all. The IConfig may be destroyed after step 3.
//   Threads     Functions may run on several threads at once, as far as the log they are given
//               allows it. Objects state their own rule.
//   Failures    Only functions that say so throw anything but std::bad_alloc. The text of an
//               exception is short; the reason is in the log.
//   Text        Wide text is UTF-16 on Windows and UTF-32 on Linux, without a terminator. Names and
//               words of the configuration match in any letter case.
//   Names       What mirrors a Winsock or Windows function, type or constant has its name,
//               arguments and value, which Microsoft's documentation describes.
#pragma once

#include "VexaSsl/Configuration.h"           // IWYU pragma: export
#include "VexaSsl/ConfigurationDefinition.h" // IWYU pragma: export
#include "VexaSsl/Export.h"                  // IWYU pragma: export
#include "VexaSsl/IConfig.h"                 // IWYU pragma: export
#include "VexaSsl/IConnectionInfo.h"         // IWYU pragma: export
#include "VexaSsl/ILog.h"                    // IWYU pragma: export
#include "VexaSsl/IOtlsProvider.h"           // IWYU pragma: export
#include "VexaSsl/ISocketStrategy.h"         // IWYU pragma: export
#include "VexaSsl/TextConversion.h"          // IWYU pragma: export

#include <memory>

namespace VexaSsl {

// Builds the stack of strategies that the configuration asks for. Returns its outermost object,
// which owns the rest; never null. Sets the log's threshold to MinimumSeverityToLog.
//
// Throws std::out_of_range("invalid configuration") when UseEncryption, InjectLogLayers or
// MinimumSeverityToLog has a bad value, or when the connection name doesn't allow opportunistic
// TLS; std::runtime_error when encryption is asked for and the system's security package is
// missing.
VEXASSL_API std::unique_ptr<ISocketStrategy> instantiateSocketStrategy(ILog& log,
                                                                       const IConfig& config);

} // namespace VexaSsl
