#include "integration/support/Settings.h"

#include "integration/support/System.h"

#include <atomic>
#include <fstream>

namespace VexaSsl::test {

namespace {

// Removes the folder at the end, except in a forked child.
class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder() {
        if (processNumber() == maker) {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path path = makeTemporaryFolder();

private:
    const unsigned long maker = processNumber();
};

} // namespace

const std::filesystem::path& temporaryFolder() {
    static const TemporaryFolder folder;
    return folder.path;
}

Settings Settings::plain() {
    return {};
}

Settings Settings::encrypted() {
    return Settings{}.with("UseEncryption", "True").with("MinimumSeverityToLog", "Debug");
}

Settings Settings::serverSending(const std::string& certificate) {
    return encrypted().with("ServerCertificateToSendName", certificate);
}

Settings Settings::clientSending(const std::string& certificate) {
    return encrypted().with("ClientCertificateToSendName", certificate);
}

Settings Settings::with(const std::string& option, const std::string& value) const {
    Settings changed = *this;
    changed.options.emplace_back(option, value);
    return changed;
}

Settings Settings::named(const std::wstring& name) const {
    Settings changed = *this;
    changed.connectionName = name;
    return changed;
}

std::unique_ptr<IConfig> Settings::load(ILog& log) const {
    static std::atomic<int> counter{0};
    const std::string number = std::to_string(counter++);
    const auto store = temporaryFolder() / ("store" + number + ".ini");
    const auto ini = temporaryFolder() / ("host" + number + ".ini");
    {
        std::ofstream text(store);
        text << "[Connections]\nDefault=Chosen\n[Chosen]\n";
        for (const auto& [option, value] : options) {
            text << option << '=' << value << '\n';
        }
    }
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << '\n';
    auto config = constructSslConfigurationFromIniFile(log, ini, connectionName);
    std::filesystem::remove(store);
    std::filesystem::remove(ini);
    return config;
}

} // namespace VexaSsl::test
