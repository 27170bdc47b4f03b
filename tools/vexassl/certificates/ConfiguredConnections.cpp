#include "certificates/ConfiguredConnections.h"

#include "common/Diagnosis.h"
#include "common/ExitStatus.h"
#include "common/LogCollector.h"
#include "common/Text.h"
#include "config/ConfigFileParser.h"
#include "config/LogTexts.h"
#include "config/ObservedConfiguration.h"
#include "config/OptionChecks.h"
#include "config/OptionMap.h"
#include "config/SslConfig.h"
#include "config/Vocabulary.h"

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

// Records the file that was read last, which is the store, and the names of its connections.
class StoreObserver : public IConfigurationObserver {
public:
    void readingFile(const std::filesystem::path& path) override {
        file = path;
        forgetNames();
    }

    void readLine(const ReadLine& line) override {
        if (!sameWord(std::wstring(line.section), ConfigurationDefinition::ConnectionsSection)) {
            return;
        }
        if (line.meaning == LineMeaning::Header) {
            forgetNames(); // a section that appears again is emptied
        } else if (line.meaning == LineMeaning::KeyAndValue &&
                   known.insert(std::wstring(line.key)).second) {
            names.emplace_back(line.key);
        }
    }

    void valueRequested(const std::wstring&, const std::wstring&, const std::wstring&) override {}

    std::filesystem::path file;
    std::vector<std::wstring> names; // in the order of the file

private:
    void forgetNames() {
        names.clear();
        known.clear();
    }

    NameSet known;
};

// Returns the bytes of a name in the file.
std::string fileBytes(const std::wstring& name) {
    return toUtf8(charactersOfFileText(name));
}

// Returns an empty text for a configuration that was read, or why it means plain text if the name
// is the reason. Throws Failure when nothing was read.
std::string reversion(LogCollector& lines, const std::string& iniFile) {
    Diagnosis diagnosis;
    for (const LoggedLine& line : lines.take()) {
        diagnosis.observe(line.text);
    }
    if (!diagnosis.revertedToPlain()) {
        return {};
    }
    const std::string reason = printableText(diagnosis.reversionReason());
    if (diagnosis.reversionReason().starts_with(LogTexts::reservedNamePrefix)) {
        return reason;
    }
    throw Failure(ExitStatus::Usage, "configuration [" + iniFile + "]: " + reason);
}

// Observes a start of the connection Default, which reads the store as any other.
StoreObserver observeStart(const std::string& iniFile) {
    StoreObserver store;
    LogCollector log;
    observedConfigurationFromIniFile(log, pathOfText(iniFile),
                                     ConfigurationDefinition::ConnectionsSectionOptions::Default,
                                     store);
    reversion(log, iniFile);
    return store;
}

ConfiguredConnection connectionOf(const ITwoLevelConfig& store, const std::wstring& name,
                                  const std::string& iniFile) {
    ConfiguredConnection connection;
    connection.name = fileBytes(name);
    connection.log = std::make_unique<LogCollector>();
    connection.config = std::make_unique<SslConfig>(*connection.log, store, name);
    connection.note = reversion(*connection.log, iniFile);
    return connection;
}

std::vector<std::wstring> widened(const std::vector<std::string>& names) {
    std::vector<std::wstring> wide;
    for (const std::string& name : names) {
        wide.push_back(widenedBytes(name));
    }
    return wide;
}

// Throws Failure when the store was removed in the meantime.
ConfigFileParser parsedStore(const std::filesystem::path& file, const std::string& iniFile) {
    LogCollector log;
    try {
        return {log, file};
    } catch (const std::runtime_error& error) {
        throw Failure(ExitStatus::Usage, "configuration [" + iniFile + "]: " + error.what());
    }
}

} // namespace

// A store may name thousands of connections, so it is parsed only once.
std::vector<ConfiguredConnection> configuredConnections(const std::string& iniFile,
                                                        const std::vector<std::string>& wanted) {
    const StoreObserver observed = observeStart(iniFile);
    const ConfigFileParser store = parsedStore(observed.file, iniFile);
    std::vector<ConfiguredConnection> connections;
    for (const std::wstring& name : wanted.empty() ? observed.names : widened(wanted)) {
        connections.push_back(connectionOf(store, name, iniFile));
    }
    return connections;
}

} // namespace VexaSsl::tool
