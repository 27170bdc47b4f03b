#include "config/Vocabulary.h"

#include <gtest/gtest.h>

#include <set>

namespace VexaSsl::test {
namespace {

namespace Definition = ConfigurationDefinition;

std::set<std::wstring> spelled(const NameSet& names) {
    return {names.begin(), names.end()};
}

TEST(Vocabulary, sectionsAndKeysOfTheFilesAreSpelledAsDocumented) {
    EXPECT_EQ(Definition::VexaSslSection, L"VexaSsl");
    EXPECT_EQ(Definition::VexaSslSectionOptions::ConfigurationStore, L"ConfigurationStore");
    EXPECT_EQ(Definition::ConnectionsSection, L"Connections");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::Default, L"Default");
    EXPECT_EQ(Definition::ConfigurationStoreLabel, L"Configuration Store");
}

TEST(Vocabulary, delimitersAreEqualsSignAndComma) {
    EXPECT_EQ(Definition::KeyValueDelimiter, L"=");
    EXPECT_EQ(Definition::NameListDelimiter, L",");
}

TEST(Vocabulary, exportedConnectionNamesAreSpelledAsDocumented) {
    EXPECT_EQ(Definition::ConnectionsSectionOptions::ClientToMox, L"ClientToMox");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::QLT, L"QLT");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::VexaHttpToClient, L"VexaHttpToClient");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::WebSocketsToClient, L"WebSocketsToClient");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::PresentationClient, L"PresentationClient");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::OdbcThinClient, L"OdbcThinClient");
    EXPECT_EQ(Definition::ConnectionsSectionOptions::VexaTcpIpConnection, L"VexaTcpIpConnection");
}

TEST(Vocabulary, optionsThatOnlyAProgramSetsAreSpelledAsDocumented) {
    EXPECT_EQ(Definition::InternalOnlyUtilityOptions::ConnectionName, L"ConnectionName");
    EXPECT_EQ(Definition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
              L"LibraryInvocationPurpose");
}

TEST(Vocabulary, valueWordsAreSpelledAsDocumented) {
    EXPECT_EQ(Definition::Values::True, L"True");
    EXPECT_EQ(Definition::Values::False, L"False");
    EXPECT_EQ(Definition::Values::Opportunistically, L"Opportunistically");
    EXPECT_EQ(Definition::Values::Any, L"Any");
    EXPECT_EQ(Definition::Values::None, L"None");
    EXPECT_EQ(Definition::Values::SecureCommunication, L"SecureCommunication");
    EXPECT_EQ(Definition::Values::ListCertificates, L"ListCertificates");
    EXPECT_EQ(Definition::Values::SelectCertificateFromUI, L"SelectCertificateFromUI");
    EXPECT_EQ(Definition::Values::Warning, L"Warning");
    EXPECT_EQ(Definition::Values::Info, L"Info");
    EXPECT_EQ(Definition::Values::Debug, L"Debug");
}

TEST(Vocabulary, nineOptionsHaveTheirDefaults) {
    const OptionMap expected = {
        {L"UseEncryption", L"False"},
        {L"RequireClientAuthentication", L"False"},
        {L"ServerCertificateToSendName", L"Any"},
        {L"ClientCertificateToSendName", L"None"},
        {L"AcceptableClientCertificateToReceiveNames", L"Any"},
        {L"MinimumSeverityToLog", L"Info"},
        {L"InjectLogLayers", L"False"},
        {L"ConnectionName", L"Default"},
        {L"LibraryInvocationPurpose", L"SecureCommunication"},
    };
    EXPECT_EQ(Definition::DefaultOptions, expected);
}

TEST(Vocabulary, optionNamesKeepTheirLetterCase) {
    std::set<std::wstring> names;
    for (const auto& [name, value] : Definition::DefaultOptions) {
        names.insert(name);
    }
    EXPECT_EQ(names, (std::set<std::wstring>{
                         L"UseEncryption", L"RequireClientAuthentication",
                         L"ServerCertificateToSendName", L"ClientCertificateToSendName",
                         L"AcceptableClientCertificateToReceiveNames", L"MinimumSeverityToLog",
                         L"InjectLogLayers", L"ConnectionName", L"LibraryInvocationPurpose"}));
}

TEST(Vocabulary, serverSendsAnyCertificateByDefaultAndAClientNone) {
    EXPECT_EQ(Definition::Defaults::ServerCertificateToSendName, L"Any");
    EXPECT_EQ(Definition::Defaults::ClientCertificateToSendName, L"None");
}

TEST(Vocabulary, eightConnectionNamesAreInternal) {
    EXPECT_EQ(spelled(Definition::InternalConnectionNames),
              (std::set<std::wstring>{L"Default", L"ClientToMox", L"QLT", L"VexaHttpToClient",
                                      L"WebSocketsToClient", L"PresentationClient",
                                      L"OdbcThinClient", L"VexaTcpIpConnection"}));
}

TEST(Vocabulary, threeConnectionNamesAreReserved) {
    EXPECT_EQ(spelled(Definition::ReservedConnectionNames),
              (std::set<std::wstring>{L"WebSocketsToClient", L"PresentationClient",
                                      L"VexaTcpIpConnection"}));
}

TEST(Vocabulary, twoOptionsCannotBeReadFromAFile) {
    EXPECT_EQ(spelled(Definition::FileUnreadableOptions),
              (std::set<std::wstring>{L"ConnectionName", L"LibraryInvocationPurpose"}));
}

TEST(Vocabulary, threeOptionsAreDefaultedSilently) {
    EXPECT_EQ(spelled(Definition::SilentlyDefaultedOptions),
              (std::set<std::wstring>{L"InjectLogLayers", L"ConnectionName",
                                      L"LibraryInvocationPurpose"}));
}

TEST(Vocabulary, setsIgnoreLetterCase) {
    EXPECT_TRUE(Definition::InternalConnectionNames.contains(L"odbcTHINclient"));
    EXPECT_TRUE(Definition::ReservedConnectionNames.contains(L"presentationclient"));
}

} // namespace
} // namespace VexaSsl::test
