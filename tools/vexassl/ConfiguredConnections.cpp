#include "ConfiguredConnections.h"

#include "Diagnosis.h"
#include "ExitStatus.h"
#include "LogCollector.h"
#include "Text.h"
#include "config/ObservedConfiguration.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace VexaSsl::tool {

namespace {

// Takes note of the connections that the file read last names: those of the store, which is read
// behind the ini file.
class NameCollector : public IConfigurationObserver {
public:
    void readingFile(const std::filesystem::path&) override { names.clear(); }

    void readLine(const ReadLine& line) override {
        if (!sameWord(std::wstring(line.section), ConfigurationDefinition::ConnectionsSection)) {
            return;
        }
        if (line.meaning == LineMeaning::Header) {
            names.clear(); // a section that comes again is emptied
        } else if (line.meaning == LineMeaning::KeyAndValue && !isThere(std::wstring(line.key))) {
            names.emplace_back(line.key);
        }
    }

    void askedFor(const std::wstring&, const std::wstring&, const std::wstring&) override {}

    std::vector<std::wstring> names;

private:
    bool isThere(const std::wstring& name) const {
        return std::any_of(names.begin(), names.end(),
                           [&](const std::wstring& known) { return sameWord(known, name); });
    }
};

// The bytes of a name as the file has them.
std::string fileBytes(const std::wstring& name) {
    return toUtf8(charactersOfFileText(name));
}

// Empty for a configuration that was read; why it means plain text when that is a matter of its
// name. Throws when nothing was read.
std::string reversion(LogCollector& lines, const std::string& iniFile) {
    Diagnosis diagnosis;
    for (const LoggedLine& line : lines.take()) {
        diagnosis.observe(line.text);
    }
    if (!diagnosis.revertedToPlain()) {
        return {};
    }
    const std::string reason = printableText(diagnosis.reversionReason());
    if (reason.starts_with("The connection name [")) {
        return reason;
    }
    throw Failure(ExitStatus::Usage, "configuration [" + iniFile + "]: " + reason);
}

ConfiguredConnection load(const std::string& iniFile, const std::wstring& name,
                          NameCollector& collector) {
    ConfiguredConnection connection;
    connection.name = fileBytes(name);
    connection.log = std::make_unique<LogCollector>();
    connection.config =
        observedConfigurationFromIniFile(*connection.log, pathOfText(iniFile), name, collector);
    connection.note = reversion(*connection.log, iniFile);
    return connection;
}

// All names of the store, which are read on the way to any connection.
std::vector<std::wstring> namesOfStore(const std::string& iniFile) {
    NameCollector collector;
    load(iniFile, ConfigurationDefinition::ConnectionsSectionOptions::Default, collector);
    return collector.names;
}

} // namespace

std::vector<ConfiguredConnection> configuredConnections(const std::string& iniFile,
                                                        const std::vector<std::string>& wanted) {
    std::vector<std::wstring> names;
    for (const std::string& name : wanted) {
        names.push_back(widenedBytes(name));
    }
    if (names.empty()) {
        names = namesOfStore(iniFile);
    }
    NameCollector unheard;
    std::vector<ConfiguredConnection> connections;
    for (const std::wstring& name : names) {
        connections.push_back(load(iniFile, name, unheard));
    }
    return connections;
}

} // namespace VexaSsl::tool
