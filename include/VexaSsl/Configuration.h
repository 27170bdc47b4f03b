// The three ways to an IConfig. A problem with a file never stops a host: the reason goes to the
// log as a Warning, "Reverting to NO ENCRYPTION" follows, and the result is the defaults, which
// mean plain sockets. Values are not judged here.
//
// Throws only what running out of memory throws. May run on several threads at once as far as the
// log allows.
#pragma once

#include "VexaSsl/Export.h"
#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VexaSsl {

// The defaults, with connectionName recorded.
VEXASSL_API std::unique_ptr<IConfig>
constructDefaultSslConfiguration(ILog& log, const std::wstring& connectionName);

// Reads the ini file for the path of the store (section VexaSsl, key ConfigurationStore), then the
// store.
VEXASSL_API std::unique_ptr<IConfig>
constructSslConfigurationFromIniFile(ILog& log, const std::filesystem::path& path,
                                     const std::wstring& connectionName);

// Reads the store file itself.
VEXASSL_API std::unique_ptr<IConfig>
constructSslConfigurationFromSslConfigStore(ILog& log, const std::filesystem::path& path,
                                            const std::wstring& connectionName);

} // namespace VexaSsl
