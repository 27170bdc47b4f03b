// The way from an ini file to a configuration, with somebody looking on.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "config/IConfigurationObserver.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VexaSsl {

// constructSslConfigurationFromIniFile itself, step by step and line by line of the log; the
// observer is told what is read and asked. An observer's exception goes the way of any other: a
// std::runtime_error gives the defaults, the others reach the caller.
std::unique_ptr<IConfig> observedConfigurationFromIniFile(ILog& log,
                                                          const std::filesystem::path& path,
                                                          const std::wstring& connectionName,
                                                          IConfigurationObserver& observer);

} // namespace VexaSsl
