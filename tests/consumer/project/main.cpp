// Uses each part of the library: a function, a constant, the ready-made log, and the version. The
// exit status shows what failed.
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
    std::cout << "strategy created\n";
    return 0;
}
