#include "VexaSsl/Configuration.h"
#include "config/LogTexts.h"

#include "VexaSsl/TextConversion.h"
#include "config/ConfigFileParser.h"
#include "config/ObservedConfiguration.h"
#include "config/SslConfig.h"
#include "config/Vocabulary.h"
#include "platform/contract/TextFiles.h"

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace VexaSsl {

namespace Definition = ConfigurationDefinition;

namespace {

// "VexaSsl.ConfigurationStore"
std::wstring storeOptionName() {
    return Definition::VexaSslSection + L"." +
           Definition::VexaSslSectionOptions::ConfigurationStore;
}

void logOpening(ILog& log, const std::wstring& storePath) {
    log.log(Severity::Debug,
            L"Opening " + Definition::ConfigurationStoreLabel + L" at [" + storePath + L"]");
}

// Logs the reason as a Warning and returns the defaults.
std::unique_ptr<IConfig> fallBack(ILog& log, const std::runtime_error& reason,
                                  const std::wstring& connectionName) {
    log.log(Severity::Warning, convertNarrowToWide(reason.what()));
    log.log(Severity::Warning, LogTexts::fallbackNotice);
    return constructDefaultSslConfiguration(log, connectionName);
}

std::unique_ptr<IConfig> readStore(ILog& log, const std::filesystem::path& path,
                                   const std::wstring& connectionName,
                                   IConfigurationObserver* observer) {
    if (path.empty()) {
        log.log(Severity::Warning,
                L"No " + storeOptionName() + L" option specified. " + LogTexts::fallbackNotice);
        return constructDefaultSslConfiguration(log, connectionName);
    }
    logOpening(log, platform::pathToText(path));
    const ConfigFileParser parser(log, path, observer);
    return std::make_unique<SslConfig>(log, parser, connectionName);
}

std::unique_ptr<IConfig> configurationFromStore(ILog& log, const std::filesystem::path& path,
                                                const std::wstring& connectionName,
                                                IConfigurationObserver* observer) {
    try {
        return readStore(log, path, connectionName, observer);
    } catch (const std::runtime_error& reason) {
        return fallBack(log, reason, connectionName);
    }
}

// The line about the opening is written here and again by the store's own factory, which also
// handles a store that can't be opened. Compatibility: store-opened-twice
std::unique_ptr<IConfig> readIniFile(ILog& log, const std::filesystem::path& path,
                                     const std::wstring& connectionName,
                                     IConfigurationObserver* observer) {
    const ConfigFileParser parser(log, path, observer);
    const std::wstring store = parser.getValue(
        Definition::VexaSslSection, Definition::VexaSslSectionOptions::ConfigurationStore);
    if (store.empty()) {
        log.log(Severity::Warning, L"No " + storeOptionName() + L" section present in ini file [" +
                                       platform::pathToText(path) + L"]. " +
                                       LogTexts::fallbackNotice);
        return constructDefaultSslConfiguration(log, connectionName);
    }
    logOpening(log, store);
    return configurationFromStore(log, platform::pathFromFileText(store), connectionName, observer);
}

std::unique_ptr<IConfig> configurationFromIniFile(ILog& log, const std::filesystem::path& path,
                                                  const std::wstring& connectionName,
                                                  IConfigurationObserver* observer) {
    try {
        return readIniFile(log, path, connectionName, observer);
    } catch (const std::runtime_error& reason) {
        return fallBack(log, reason, connectionName);
    }
}

} // namespace

std::unique_ptr<IConfig> constructDefaultSslConfiguration(ILog& log,
                                                          const std::wstring& connectionName) {
    return std::make_unique<SslConfig>(log, connectionName);
}

std::unique_ptr<IConfig> constructSslConfigurationFromIniFile(ILog& log,
                                                              const std::filesystem::path& path,
                                                              const std::wstring& connectionName) {
    return configurationFromIniFile(log, path, connectionName, nullptr);
}

std::unique_ptr<IConfig>
constructSslConfigurationFromSslConfigStore(ILog& log, const std::filesystem::path& path,
                                            const std::wstring& connectionName) {
    return configurationFromStore(log, path, connectionName, nullptr);
}

std::unique_ptr<IConfig> observedConfigurationFromIniFile(ILog& log,
                                                          const std::filesystem::path& path,
                                                          const std::wstring& connectionName,
                                                          IConfigurationObserver& observer) {
    return configurationFromIniFile(log, path, connectionName, &observer);
}

} // namespace VexaSsl
