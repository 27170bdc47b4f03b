// What a connection is to be, said as an administrator says it: the options of one section. load()
// writes an ini file and the store that it points to and reads them back through the library, so
// that every test takes the way of a real host.
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
    // No option at all: the defaults, which mean no encryption.
    static Settings plain();
    // Encryption, and every line to the log.
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

// A folder of this process for the files of its tests, removed when the process ends.
const std::filesystem::path& temporaryFolder();

} // namespace VexaSsl::test
