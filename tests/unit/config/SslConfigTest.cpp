#include "config/SslConfig.h"

#include "config/Vocabulary.h"
#include "fakes/CollectingLog.h"
#include "unit/config/SettingsTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using Lines = std::vector<LogLine>;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

void expectDefaults(const IConfig& config, const std::wstring& connectionName) {
    for (const auto& [name, value] : ConfigurationDefinition::DefaultOptions) {
        EXPECT_EQ(config.getValue(name), name == L"ConnectionName" ? connectionName : value);
    }
}

Lines defaultedOptionsOf(const std::wstring& prefix) {
    const auto line = [&prefix](const std::wstring& option, const std::wstring& value) {
        return LogLine{Severity::Debug, prefix + option +
                                            L" not specified. Using default value of [" + value +
                                            L"]"};
    };
    return {line(L"UseEncryption", L"False"),
            line(L"RequireClientAuthentication", L"False"),
            line(L"ServerCertificateToSendName", L"Any"),
            line(L"ClientCertificateToSendName", L"None"),
            line(L"AcceptableClientCertificateToReceiveNames", L"Any"),
            line(L"MinimumSeverityToLog", L"Info")};
}

class SslConfigTest : public testing::Test {
protected:
    CollectingLog log;
};

TEST_F(SslConfigTest, defaultsAreMadeSilentlyWithTheConnectionName) {
    expectDefaults(SslConfig(log, L"Foo"), L"Foo");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SslConfigTest, unknownKeyIsEmptyText) {
    EXPECT_EQ(SslConfig(log, L"Foo").getValue(L"Unknown"), L"");
}

TEST_F(SslConfigTest, optionIsFoundInAnyLetterCase) {
    EXPECT_EQ(SslConfig(log, L"Foo").getValue(L"CONNECTIONNAME"), L"Foo");
}

TEST_F(SslConfigTest, setValueTakesWhatIsNoLegalValue) {
    SslConfig config(log, L"Foo");
    config.setValue(L"UseEncryption", L"Perhaps");
    EXPECT_EQ(config.getValue(L"UseEncryption"), L"Perhaps");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SslConfigTest, setValueCreatesAnUnknownKey) {
    SslConfig config(log, L"Foo");
    config.setValue(L"Mine", L"x");
    EXPECT_EQ(config.getValue(L"mine"), L"x");
}

TEST_F(SslConfigTest, sectionOfTheConnectionGivesTheOptions) {
    const SettingsTable source({{{L"Connections", L"Foo"}, L"Secure"},
                                {{L"Secure", L"UseEncryption"}, L"True"},
                                {{L"Secure", L"RequireClientAuthentication"}, L"True"},
                                {{L"Secure", L"ServerCertificateToSendName"}, L"server"},
                                {{L"Secure", L"ClientCertificateToSendName"}, L"client"},
                                {{L"Secure", L"AcceptableClientCertificateToReceiveNames"}, L"a,b"},
                                {{L"Secure", L"MinimumSeverityToLog"}, L"Debug"},
                                {{L"Secure", L"InjectLogLayers"}, L"True"}});
    const SslConfig config(log, source, L"Foo");
    EXPECT_EQ(config.getValue(L"UseEncryption"), L"True");
    EXPECT_EQ(config.getValue(L"RequireClientAuthentication"), L"True");
    EXPECT_EQ(config.getValue(L"ServerCertificateToSendName"), L"server");
    EXPECT_EQ(config.getValue(L"ClientCertificateToSendName"), L"client");
    EXPECT_EQ(config.getValue(L"AcceptableClientCertificateToReceiveNames"), L"a,b");
    EXPECT_EQ(config.getValue(L"MinimumSeverityToLog"), L"Debug");
    EXPECT_EQ(config.getValue(L"InjectLogLayers"), L"True");
    EXPECT_EQ(config.getValue(L"ConnectionName"), L"Foo");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SslConfigTest, reservedConnectionGivesTwoWarningsAndDefaultsWithoutReadingTheSource) {
    const SettingsTable source({{{L"Connections", L"PresentationClient"}, L"Secure"},
                                {{L"Secure", L"UseEncryption"}, L"True"}});
    expectDefaults(SslConfig(log, source, L"PresentationClient"), L"PresentationClient");
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Warning, L"The connection name [PresentationClient] is currently "
                                         L"reserved for future VexaSsl implementation"},
                     {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
    EXPECT_TRUE(source.requests.empty());
}

TEST_F(SslConfigTest, reservedConnectionIsRecognisedInLowerCase) {
    const SettingsTable source({{{L"Connections", L"presentationclient"}, L"Secure"},
                                {{L"Secure", L"UseEncryption"}, L"True"}});
    expectDefaults(SslConfig(log, source, L"presentationclient"), L"presentationclient");
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Warning, L"The connection name [presentationclient] is currently "
                                         L"reserved for future VexaSsl implementation"},
                     {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
    EXPECT_TRUE(source.requests.empty());
}

TEST_F(SslConfigTest, connectionWithoutAnEntryUsesTheEntryDefault) {
    const SettingsTable source(
        {{{L"Connections", L"Default"}, L"Secure"}, {{L"Secure", L"UseEncryption"}, L"True"}});
    const SslConfig config(log, source, L"Foo");
    EXPECT_EQ(config.getValue(L"UseEncryption"), L"True");
    EXPECT_EQ(config.getValue(L"ConnectionName"), L"Foo");
}

TEST_F(SslConfigTest, connectionWithAnEntryDoesNotAskForTheEntryDefault) {
    const SettingsTable source(
        {{{L"Connections", L"Foo"}, L"Secure"}, {{L"Connections", L"Default"}, L"Other"}});
    const SslConfig config(log, source, L"Foo");
    EXPECT_THAT(source.requests,
                testing::Not(testing::Contains(SettingsTable::Place(L"Connections", L"Default"))));
}

TEST_F(SslConfigTest, sectionCalledDefaultIsNoFallback) {
    const SettingsTable source({{{L"Default", L"UseEncryption"}, L"True"}});
    expectDefaults(SslConfig(log, source, L"Foo"), L"Foo");
}

TEST_F(SslConfigTest, sourceWithoutConnectionsGivesSilentDefaults) {
    const SettingsTable source({{{L"Secure", L"UseEncryption"}, L"True"}});
    expectDefaults(SslConfig(log, source, L"Foo"), L"Foo");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(source.requests, (std::vector<SettingsTable::Place>{{L"Connections", L"Foo"},
                                                                  {L"Connections", L"Default"}}));
}

TEST_F(SslConfigTest, sectionThatIsNotThereGivesSixDebugLinesAndDefaults) {
    const SettingsTable source({{{L"Connections", L"Foo"}, L"nowhere"}});
    expectDefaults(SslConfig(log, source, L"Foo"), L"Foo");
    EXPECT_THAT(log.lines, UnorderedElementsAreArray(defaultedOptionsOf(L"nowhere.")));
}

TEST_F(SslConfigTest, oneMissingOptionGivesOneLine) {
    const SettingsTable source({{{L"Connections", L"Foo"}, L"S"},
                                {{L"S", L"UseEncryption"}, L"True"},
                                {{L"S", L"RequireClientAuthentication"}, L"True"},
                                {{L"S", L"ServerCertificateToSendName"}, L"server"},
                                {{L"S", L"AcceptableClientCertificateToReceiveNames"}, L"a"},
                                {{L"S", L"MinimumSeverityToLog"}, L"Debug"}});
    const SslConfig config(log, source, L"Foo");
    EXPECT_EQ(log.lines, (Lines{{Severity::Debug, L"S.ClientCertificateToSendName not specified. "
                                                  L"Using default value of [None]"}}));
}

TEST_F(SslConfigTest, sectionCannotSetTheConnectionName) {
    const SettingsTable source(
        {{{L"Connections", L"Foo"}, L"S"}, {{L"S", L"ConnectionName"}, L"Other"}});
    EXPECT_EQ(SslConfig(log, source, L"Foo").getValue(L"ConnectionName"), L"Foo");
}

TEST_F(SslConfigTest, sectionCannotSetTheInvocationPurpose) {
    const SettingsTable source({{{L"Connections", L"Foo"}, L"S"},
                                {{L"S", L"LibraryInvocationPurpose"}, L"ListCertificates"}});
    SslConfig config(log, source, L"Foo");
    EXPECT_EQ(config.getValue(L"LibraryInvocationPurpose"), L"SecureCommunication");
    config.setValue(L"LibraryInvocationPurpose", L"ListCertificates");
    EXPECT_EQ(config.getValue(L"LibraryInvocationPurpose"), L"ListCertificates");
}

TEST_F(SslConfigTest, copyTakesAllNineOptionsSilently) {
    SslConfig original(log, L"Foo");
    for (const auto& [name, value] : ConfigurationDefinition::DefaultOptions) {
        original.setValue(name, L"value of " + name);
    }
    const SslConfig copy(log, static_cast<const IConfig&>(original));
    for (const auto& [name, value] : ConfigurationDefinition::DefaultOptions) {
        EXPECT_EQ(copy.getValue(name), L"value of " + name);
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SslConfigTest, copyLogsEachEmptyOptionAndKeepsItsDefault) {
    SslConfig original(log, L"Foo");
    original.setValue(L"ConnectionName", L"");
    original.setValue(L"LibraryInvocationPurpose", L"");
    original.setValue(L"InjectLogLayers", L"");
    expectDefaults(SslConfig(log, static_cast<const IConfig&>(original)), L"Default");
    EXPECT_THAT(
        log.lines,
        UnorderedElementsAre(
            LogLine{Severity::Debug,
                    L"ConnectionName not specified. Using default value of [Default]"},
            LogLine{Severity::Debug, L"LibraryInvocationPurpose not specified. Using default "
                                     L"value of [SecureCommunication]"},
            LogLine{Severity::Debug,
                    L"InjectLogLayers not specified. Using default value of [False]"}));
}

TEST_F(SslConfigTest, copyDoesNotTakeOtherKeys) {
    SslConfig original(log, L"Foo");
    original.setValue(L"Mine", L"x");
    EXPECT_EQ(SslConfig(log, static_cast<const IConfig&>(original)).getValue(L"Mine"), L"");
}

TEST_F(SslConfigTest, laterChangesOfTheOriginalDoNotReachTheCopy) {
    SslConfig original(log, L"Foo");
    const SslConfig copy(log, static_cast<const IConfig&>(original));
    original.setValue(L"UseEncryption", L"True");
    EXPECT_EQ(copy.getValue(L"UseEncryption"), L"False");
}

} // namespace
} // namespace VexaSsl::test
