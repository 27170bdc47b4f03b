// The three ways to get an IConfig. A file that can't be read or parsed never stops a host: the
// reason and "Reverting to NO ENCRYPTION" are logged as Warnings, and the defaults are returned,
// which mean plain sockets. The defaults are also what a connection gets whose name the store
// doesn't list, without a Warning. Values are not checked here.
#pragma once

#include "VexaSsl/Export.h"
#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VexaSsl {

// Returns the defaults for the connection.
VEXASSL_API std::unique_ptr<IConfig>
constructDefaultSslConfiguration(ILog& log, const std::wstring& connectionName);

// Reads the path of the store file from the ini file (section VexaSsl, key ConfigurationStore),
// then the store file. Returns the connection's settings.
VEXASSL_API std::unique_ptr<IConfig>
constructSslConfigurationFromIniFile(ILog& log, const std::filesystem::path& path,
                                     const std::wstring& connectionName);

// Reads the store file. Returns the connection's settings.
VEXASSL_API std::unique_ptr<IConfig>
constructSslConfigurationFromSslConfigStore(ILog& log, const std::filesystem::path& path,
                                            const std::wstring& connectionName);

} // namespace VexaSsl
