// Uses something of each part: the library's functions, a constant that it exports, the ready-made
// log, and the version. Says what went wrong by its status.
#include <VexaSsl/ModuleVersion.h>
#include <VexaSsl/SslLog.h>
#include <VexaSsl/VexaSsl.h>

#include <iostream>

int main() {
    using namespace VexaSsl;
    SslLog log;
    const auto config = constructDefaultSslConfiguration(log, L"consumer");
    const auto strategy = instantiateSocketStrategy(log, *config);
    if (strategy == nullptr) {
        return 1;
    }
    if (ConfigurationDefinition::VexaSslSection != L"VexaSsl") {
        return 2;
    }
    DLLVERSIONINFO version{};
    version.cbSize = sizeof version;
    if (DllGetVersion(&version) != 0 || version.dwMajorVersion != 22) {
        return 3;
    }
    std::cout << "a strategy was made\n";
    return 0;
}
