#include "config/SslConfig.h"
#include "config/LogTexts.h"

#include "config/Vocabulary.h"
#include <string>
#include <utility>

namespace VexaSsl {

namespace Definition = ConfigurationDefinition;

namespace {

// Returns the section of the connection, or else that of Default, or an empty text.
std::wstring sectionOfConnection(const ITwoLevelConfig& source, const std::wstring& connection) {
    std::wstring own = source.getValue(Definition::ConnectionsSection, connection);
    if (!own.empty()) {
        return own;
    }
    return source.getValue(Definition::ConnectionsSection,
                           Definition::ConnectionsSectionOptions::Default);
}

} // namespace

SslConfig::SslConfig(ILog& log, const std::wstring& connectionName)
    : log(log), options(Definition::DefaultOptions) {
    options[Definition::InternalOnlyUtilityOptions::ConnectionName] = connectionName;
}

SslConfig::SslConfig(ILog& log, const ITwoLevelConfig& source, const std::wstring& connectionName)
    : SslConfig(log, connectionName) {
    if (Definition::ReservedConnectionNames.contains(connectionName)) {
        log.log(Severity::Warning,
                LogTexts::reservedNamePrefix + connectionName +
                    L"] is currently reserved for future VexaSsl implementation");
        log.log(Severity::Warning, LogTexts::fallbackNotice);
        return;
    }
    const std::wstring sectionName = sectionOfConnection(source, connectionName);
    if (!sectionName.empty()) {
        readSection(source, sectionName);
    }
}

SslConfig::SslConfig(ILog& log, const IConfig& other)
    : log(log), options(Definition::DefaultOptions) {
    for (auto& [name, value] : options) {
        std::wstring given = other.getValue(name);
        if (given.empty()) {
            logDefaulted(name, value);
            continue;
        }
        value = std::move(given);
    }
}

std::wstring SslConfig::getValue(const std::wstring& key) const {
    const auto entry = options.find(key);
    return entry == options.end() ? std::wstring() : entry->second;
}

void SslConfig::setValue(const std::wstring& key, const std::wstring& value) {
    options[key] = value;
}

// An empty value counts as missing, so a file can't empty an option. A missing section is like an
// empty one.
void SslConfig::readSection(const ITwoLevelConfig& source, const std::wstring& sectionName) {
    const std::wstring prefix = sectionName + L".";
    for (auto& [name, value] : options) {
        if (Definition::FileUnreadableOptions.contains(name)) {
            continue;
        }
        std::wstring given = source.getValue(sectionName, name);
        if (!given.empty()) {
            value = std::move(given);
        } else if (!Definition::SilentlyDefaultedOptions.contains(name)) {
            logDefaulted(prefix + name, value);
        }
    }
}

void SslConfig::logDefaulted(const std::wstring& spelledOption,
                             const std::wstring& defaultValue) const {
    log.log(Severity::Debug,
            spelledOption + L" not specified. Using default value of [" + defaultValue + L"]");
}

} // namespace VexaSsl
