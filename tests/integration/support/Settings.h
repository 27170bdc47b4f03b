// The options of a connection, as in a section of the store. load writes an ini file and a store
// and reads them by the library, as a host does.
#pragma once

#include "VexaSsl/VexaSsl.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

class Settings {
public:
    // The defaults: no encryption.
    static Settings plain();
    // Encryption, and all lines are logged.
    static Settings encrypted();
    // A server that sends the certificate whose subject contains the name.
    static Settings serverSending(const std::string& certificate);
    // A client that sends the certificate whose subject contains the name.
    static Settings clientSending(const std::string& certificate);

    Settings with(const std::string& option, const std::string& value) const;
    Settings named(const std::wstring& name) const;

    std::unique_ptr<IConfig> load(ILog& log) const;

private:
    std::wstring connectionName = L"IntegrationTest";
    std::vector<std::pair<std::string, std::string>> options;
};

// Returns a folder for the files of this process, which is removed at its end.
const std::filesystem::path& temporaryFolder();

} // namespace VexaSsl::test
