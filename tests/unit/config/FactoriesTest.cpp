#include "VexaSsl/Configuration.h"

#include "VexaSsl/ConfigurationDefinition.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/TemporaryFolder.h"
#include "platform/contract/TextFiles.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

using Lines = std::vector<LogLine>;

const char* const fullStore = "[Connections]\nFoo=Secure\n[Secure]\nUseEncryption=True\n"
                              "RequireClientAuthentication=True\nServerCertificateToSendName=s\n"
                              "ClientCertificateToSendName=c\n"
                              "AcceptableClientCertificateToReceiveNames=a\n"
                              "MinimumSeverityToLog=Warning\n";

struct LogFailure : std::runtime_error {
    LogFailure() : std::runtime_error("the log failed") {}
};

// A log that throws a Failure for each line of the severity.
template <typename Failure>
CallbackLog failingLog(Severity severity) {
    CallbackLog log;
    log.onLine = [severity](Severity given, const std::wstring&) {
        if (given == severity) {
            throw Failure();
        }
    };
    return log;
}

class Factories : public testing::Test {
protected:
    static LogLine opening(const std::filesystem::path& store) {
        return {Severity::Debug, L"Opening Configuration Store at [" + store.wstring() + L"]"};
    }

    std::filesystem::path iniFileWith(const std::string& bytes) {
        return folder.write("host.ini", bytes);
    }

    void expectDefaults(const std::unique_ptr<IConfig>& config) {
        ASSERT_NE(config, nullptr);
        EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
        EXPECT_EQ(config->getValue(L"ConnectionName"), L"Foo");
    }

    TemporaryFolder folder;
    ScriptedPlatform platform;
    CollectingLog log;
};

TEST_F(Factories, defaultConfigurationIsMadeSilently) {
    expectDefaults(constructDefaultSslConfiguration(log, L"Foo"));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Factories, storeIsOpenedWithADebugLine) {
    const auto store = folder.write("store.ini", fullStore);
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"True");
    EXPECT_EQ(config->getValue(L"ConnectionName"), L"Foo");
    EXPECT_EQ(log.lines, Lines{opening(store)});
}

TEST_F(Factories, emptyStorePathIsAWarningAndDefaults) {
    expectDefaults(constructSslConfigurationFromSslConfigStore(log, {}, L"Foo"));
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Warning, L"No VexaSsl.ConfigurationStore option specified. "
                                         L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, missingStoreIsTwoWarningsAndDefaults) {
    const auto store = folder.path("missing.ini");
    expectDefaults(constructSslConfigurationFromSslConfigStore(log, store, L"Foo"));
    EXPECT_EQ(log.lines, (Lines{opening(store),
                                {Severity::Warning, L"Can't open config file"},
                                {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, openingOfTheStoreOfAnIniFileIsLoggedTwice) {
    const auto store = folder.write("store.ini", fullStore);
    const auto ini = iniFileWith("[VexaSsl]\nConfigurationStore=" + store.string() + "\n");
    const auto config = constructSslConfigurationFromIniFile(log, ini, L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"True");
    EXPECT_EQ(log.lines, (Lines{opening(store), opening(store)}));
}

TEST_F(Factories, missingIniFileIsTwoWarningsAndDefaults) {
    expectDefaults(constructSslConfigurationFromIniFile(log, folder.path("missing.ini"), L"Foo"));
    EXPECT_EQ(log.lines, (Lines{{Severity::Warning, L"Can't open config file"},
                                {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, iniFileWithoutTheKeyIsAWarningAndDefaults) {
    const auto ini = iniFileWith("[VexaSsl]\n");
    expectDefaults(constructSslConfigurationFromIniFile(log, ini, L"Foo"));
    EXPECT_EQ(log.lines, (Lines{{Severity::Warning,
                                 L"No VexaSsl.ConfigurationStore section present in ini file [" +
                                     ini.wstring() + L"]. Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, keyAfterAnEmptyLineOfTheIniFileIsMissing) {
    const auto ini = iniFileWith("[VexaSsl]\n\nConfigurationStore=store.ini\n");
    expectDefaults(constructSslConfigurationFromIniFile(log, ini, L"Foo"));
    EXPECT_EQ(log.lines, (Lines{{Severity::Warning,
                                 L"No VexaSsl.ConfigurationStore section present in ini file [" +
                                     ini.wstring() + L"]. Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, missingStoreOfAnIniFileIsLoggedByTheStoresFactory) {
    const auto store = folder.path("missing.ini");
    const auto ini = iniFileWith("[VexaSsl]\nConfigurationStore=" + store.string() + "\n");
    expectDefaults(constructSslConfigurationFromIniFile(log, ini, L"Foo"));
    EXPECT_EQ(log.lines, (Lines{opening(store),
                                opening(store),
                                {Severity::Warning, L"Can't open config file"},
                                {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

// Only then has the ini file's factory something to handle.
TEST_F(Factories, failureOfTheStoresHandlerIsHandledByTheIniFiles) {
    const auto store = folder.path("missing.ini");
    const auto ini = iniFileWith("[VexaSsl]\nConfigurationStore=" + store.string() + "\n");
    CallbackLog failsOnce;
    failsOnce.onLine = [](Severity, const std::wstring& text) {
        if (text == L"Can't open config file") {
            throw LogFailure();
        }
    };
    expectDefaults(constructSslConfigurationFromIniFile(failsOnce, ini, L"Foo"));
    EXPECT_EQ(failsOnce.lines, (Lines{opening(store),
                                      opening(store),
                                      {Severity::Warning, L"the log failed"},
                                      {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, textOfTheFailureIsTheWarning) {
    CallbackLog failing = failingLog<LogFailure>(Severity::Debug);
    expectDefaults(constructSslConfigurationFromSslConfigStore(failing, folder.path("x"), L"Foo"));
    EXPECT_EQ(failing.lines, (Lines{{Severity::Warning, L"the log failed"},
                                    {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, storesOwnPointerIsNotFollowed) {
    const auto other = folder.write("other.ini", fullStore);
    const auto store =
        folder.write("store.ini", "[VexaSsl]\nConfigurationStore=" + other.string() + "\n");
    expectDefaults(constructSslConfigurationFromSslConfigStore(log, store, L"Foo"));
}

TEST_F(Factories, storeWhoseNameIsNotAsciiIsFoundThroughTheIniFile) {
    // The file name has these bytes or these units, depending on the system.
    folder.write(platform::pathFromFileText(L"st\u00C3\u00B6re.ini"), fullStore);
    const std::string store = folder.path("").string() + "st\xC3\xB6re.ini";
    const auto ini = iniFileWith("[VexaSsl]\nConfigurationStore=" + store + "\n");
    const auto config = constructSslConfigurationFromIniFile(log, ini, L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"True");
    ASSERT_EQ(log.lines.size(), 2U);
    EXPECT_EQ(log.lines[0], log.lines[1]);
}

TEST_F(Factories, namesInCapitalsMeanTheSame) {
    const auto store =
        folder.write("store.ini", "[connections]\nDEFAULT=secure\n[SECURE]\nUSEENCRYPTION=True\n");
    const auto ini = iniFileWith("[VEXASSL]\nCONFIGURATIONSTORE=" + store.string() + "\n");
    const auto config = constructSslConfigurationFromIniFile(log, ini, L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"True");
}

TEST_F(Factories, storeCannotSetTheConnectionName) {
    const auto store = folder.write("store.ini", std::string(fullStore) + "ConnectionName=Other\n");
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    EXPECT_EQ(config->getValue(ConfigurationDefinition::InternalOnlyUtilityOptions::ConnectionName),
              L"Foo");
}

TEST_F(Factories, storeCannotSetTheInvocationPurpose) {
    const auto store = folder.write("store.ini", std::string(fullStore) +
                                                     "LibraryInvocationPurpose=ListCertificates\n");
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    EXPECT_EQ(config->getValue(L"LibraryInvocationPurpose"), L"SecureCommunication");
}

TEST_F(Factories, emptyListOfClientsInAFileLeavesTheDefault) {
    const auto store = folder.write("store.ini", "[Connections]\nFoo=S\n[S]\n"
                                                 "AcceptableClientCertificateToReceiveNames=\n");
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    EXPECT_EQ(config->getValue(L"AcceptableClientCertificateToReceiveNames"), L"Any");
}

TEST_F(Factories, illegalWordInTheStoreIsTakenWithoutComplaint) {
    const auto store =
        folder.write("store.ini", "[Connections]\nFoo=S\n[S]\nUseEncryption=Perhaps\n");
    const auto config = constructSslConfigurationFromSslConfigStore(log, store, L"Foo");
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"Perhaps");
    for (const LogLine& line : log.lines) {
        EXPECT_EQ(line.severity, Severity::Debug);
    }
}

TEST_F(Factories, reservedConnectionIsTwoWarningsAndDefaults) {
    const auto store = folder.write("store.ini", "[Connections]\nQLT=S\nWebSocketsToClient=S\n[S]\n"
                                                 "UseEncryption=True\n");
    const auto config = constructSslConfigurationFromSslConfigStore(
        log, store, ConfigurationDefinition::ConnectionsSectionOptions::WebSocketsToClient);
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
    EXPECT_EQ(config->getValue(L"ConnectionName"), L"WebSocketsToClient");
    EXPECT_EQ(log.lines,
              (Lines{opening(store),
                     {Severity::Warning, L"The connection name [WebSocketsToClient] is currently "
                                         L"reserved for future VexaSsl implementation"},
                     {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

TEST_F(Factories, exhaustedHeapReachesTheCaller) {
    CallbackLog failing = failingLog<std::bad_alloc>(Severity::Debug);
    EXPECT_THROW(constructSslConfigurationFromSslConfigStore(failing, folder.path("x"), L"Foo"),
                 std::bad_alloc);
}

TEST_F(Factories, failureWhileFallingBackReachesTheCaller) {
    CallbackLog failing = failingLog<LogFailure>(Severity::Warning);
    EXPECT_THROW(constructSslConfigurationFromIniFile(failing, folder.path("missing"), L"Foo"),
                 LogFailure);
}

} // namespace
} // namespace VexaSsl::test
