// The configuration of an ini file, read with an observer.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "config/IConfigurationObserver.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VexaSsl {

// As constructSslConfigurationFromIniFile, with the same log lines. If the observer throws a
// std::runtime_error the result is the defaults; other exceptions reach the caller.
std::unique_ptr<IConfig> observedConfigurationFromIniFile(ILog& log,
                                                          const std::filesystem::path& path,
                                                          const std::wstring& connectionName,
                                                          IConfigurationObserver& observer);

} // namespace VexaSsl
