// What every fallback of the factories has in common.
#include "VexaSsl/Configuration.h"
#include "VexaSsl/SslLog.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace VexaSsl::test {
namespace {

class FactoriesFallback : public testing::Test {
protected:
    std::unique_ptr<IConfig> fromIniFile(const std::string& content) {
        return constructSslConfigurationFromIniFile(log, folder.write("host.ini", content), L"Foo");
    }
    std::unique_ptr<IConfig> fromStore(const std::filesystem::path& path,
                                       const wchar_t* connection = L"Foo") {
        return constructSslConfigurationFromSslConfigStore(log, path, connection);
    }

    TemporaryFolder folder;
    ScriptedPlatform platform;
    CollectingLog log;
};

void expectPlainDefaultsOf(const std::unique_ptr<IConfig>& config, const wchar_t* connection) {
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->getValue(L"ConnectionName"), connection);
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
}

TEST_F(FactoriesFallback, connectionNameIsCarriedThroughEveryFallback) {
    const auto missing = folder.path("missing.ini");
    expectPlainDefaultsOf(constructDefaultSslConfiguration(log, L"Foo"), L"Foo");
    expectPlainDefaultsOf(constructSslConfigurationFromIniFile(log, missing, L"Foo"), L"Foo");
    expectPlainDefaultsOf(fromIniFile("[Other]\nkey=value\n"), L"Foo");
    expectPlainDefaultsOf(fromIniFile("[VexaSsl]\nConfigurationStore=" + missing.string() + "\n"),
                          L"Foo");
    expectPlainDefaultsOf(fromStore({}), L"Foo");
    expectPlainDefaultsOf(fromStore(missing), L"Foo");
    const auto store = folder.write("store.ini", "[Connections]\nDefault=S\n[S]\n"
                                                 "UseEncryption=True\nConnectionName=Other\n");
    expectPlainDefaultsOf(fromStore(store, L"VexaTcpIpConnection"), L"VexaTcpIpConnection");
}

TEST_F(FactoriesFallback, sslLogWritesTheWarningToFileAndConsole) {
    platform.GetModuleFileNameW = [path = folder.path("server").wstring()](HMODULE, wchar_t* buffer,
                                                                           DWORD size) {
        return static_cast<DWORD>(path.copy(buffer, size));
    };
    const std::wstringstream console;
    std::wstreambuf* const former = std::wcout.rdbuf(console.rdbuf());
    {
        SslLog readyMade;
        constructSslConfigurationFromIniFile(readyMade, folder.path("missing.ini"), L"Foo");
    }
    std::wcout.rdbuf(former);
    EXPECT_EQ(folder.readText("server.log"), "[Warning] Can't open config file\n"
                                             "[Warning] Reverting to NO ENCRYPTION\n");
    EXPECT_EQ(console.str(), L"[Warning] Can't open config file\n"
                             L"[Warning] Reverting to NO ENCRYPTION\n");
}

} // namespace
} // namespace VexaSsl::test
