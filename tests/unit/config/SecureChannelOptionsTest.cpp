#include "config/SecureChannelOptions.h"

#include "config/SslConfig.h"
#include "fakes/CollectingLog.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

using Lines = std::vector<LogLine>;

class SecureChannelOptionsTest : public testing::Test {
protected:
    void set(const std::wstring& name, const std::wstring& value) { config.setValue(name, value); }

    SecureChannelOptions options() { return {log, config}; }

    void expectRefused() {
        try {
            options();
            ADD_FAILURE() << "an invalid value was accepted";
        } catch (const std::out_of_range& failure) {
            EXPECT_STREQ(failure.what(), "invalid configuration");
        }
    }

    CollectingLog log;
    SslConfig config{log, L"Foo"};
};

// An empty configuration that records the order of the reads.
class AskedConfig : public IConfig {
public:
    std::wstring getValue(const std::wstring& key) const override {
        reads.push_back(key);
        return {};
    }
    void setValue(const std::wstring&, const std::wstring&) override {}

    mutable std::vector<std::wstring> reads;
};

TEST_F(SecureChannelOptionsTest, defaultsAreGood) {
    const SecureChannelOptions result = options();
    EXPECT_FALSE(result.requireClientAuthentication);
    EXPECT_EQ(result.serverCertificateName, L"Any");
    EXPECT_EQ(result.clientCertificateName, L"None");
    EXPECT_TRUE(result.acceptableClientNames.empty());
    EXPECT_TRUE(result.anyClientAcceptable);
    EXPECT_EQ(result.libraryInvocationPurpose, LibraryInvocationPurpose::SecureCommunication);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SecureChannelOptionsTest, allTextsAreReadBeforeTheFirstCheck) {
    const AskedConfig silent;
    EXPECT_THROW(SecureChannelOptions(log, silent), std::out_of_range);
    EXPECT_EQ(silent.reads, (std::vector<std::wstring>{L"RequireClientAuthentication",
                                                       L"ServerCertificateToSendName",
                                                       L"ClientCertificateToSendName",
                                                       L"AcceptableClientCertificateToReceiveNames",
                                                       L"LibraryInvocationPurpose"}));
}

TEST_F(SecureChannelOptionsTest, clientAuthenticationIsReadInAnyLetterCase) {
    set(L"RequireClientAuthentication", L"TRUE");
    EXPECT_TRUE(options().requireClientAuthentication);
}

TEST_F(SecureChannelOptionsTest, clientAuthenticationYesIsRefusedWithNameAndValue) {
    set(L"RequireClientAuthentication", L"Yes");
    expectRefused();
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Error,
                      L"Supplied value [Yes] of RequireClientAuthentication is invalid"}}));
}

TEST_F(SecureChannelOptionsTest, wordWithATrailingSpaceIsRefused) {
    set(L"RequireClientAuthentication", L"True ");
    expectRefused();
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Error,
                      L"Supplied value [True ] of RequireClientAuthentication is invalid"}}));
}

TEST_F(SecureChannelOptionsTest, onlyTheFirstBadOptionIsReported) {
    set(L"RequireClientAuthentication", L"Yes");
    set(L"LibraryInvocationPurpose", L"Nothing");
    expectRefused();
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Error,
                      L"Supplied value [Yes] of RequireClientAuthentication is invalid"}}));
}

TEST_F(SecureChannelOptionsTest, serverNameIsCheckedBeforeTheListOfClients) {
    set(L"ServerCertificateToSendName", L"None");
    set(L"AcceptableClientCertificateToReceiveNames", L"");
    expectRefused();
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(SecureChannelOptionsTest, listOfClientsIsCheckedBeforeThePurpose) {
    set(L"AcceptableClientCertificateToReceiveNames", L"");
    set(L"LibraryInvocationPurpose", L"Nothing");
    expectRefused();
    EXPECT_EQ(
        log.lines,
        (Lines{{Severity::Error,
                L"Supplied value [] of AcceptableClientCertificateToReceiveNames is empty"}}));
}

TEST_F(SecureChannelOptionsTest, serverWithoutACertificateIsRefusedAsWritten) {
    set(L"ServerCertificateToSendName", L"none");
    expectRefused();
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Error, L"Supplied value [none] of ServerCertificateToSendName is "
                                       L"invalid. Servers MUST send certificates"}}));
}

TEST_F(SecureChannelOptionsTest, clientWithoutACertificateIsGood) {
    set(L"ClientCertificateToSendName", L"None");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::NoCertificate);
}

TEST_F(SecureChannelOptionsTest, emptyCertificateNamesAreTakenAsNames) {
    set(L"ServerCertificateToSendName", L"");
    set(L"ClientCertificateToSendName", L"");
    const SecureChannelOptions result = options();
    EXPECT_EQ(result.certificateChoice(true), CertificateChoice::ByName);
    EXPECT_EQ(result.certificateChoice(false), CertificateChoice::ByName);
}

TEST_F(SecureChannelOptionsTest, clientNamesKeepTheirOrderAndSpaces) {
    set(L"AcceptableClientCertificateToReceiveNames", L"beta, alpha,,x,");
    const SecureChannelOptions result = options();
    EXPECT_EQ(result.acceptableClientNames, (std::vector<std::wstring>{L"beta", L" alpha", L",x"}));
    EXPECT_FALSE(result.anyClientAcceptable);
}

TEST_F(SecureChannelOptionsTest, anyAmongTheClientNamesClearsTheList) {
    set(L"AcceptableClientCertificateToReceiveNames", L"alpha,ANY,beta");
    const SecureChannelOptions result = options();
    EXPECT_TRUE(result.acceptableClientNames.empty());
    EXPECT_TRUE(result.anyClientAcceptable);
}

TEST_F(SecureChannelOptionsTest, anyWithASpaceIsAName) {
    set(L"AcceptableClientCertificateToReceiveNames", L"alpha, Any");
    const SecureChannelOptions result = options();
    EXPECT_EQ(result.acceptableClientNames, (std::vector<std::wstring>{L"alpha", L" Any"}));
    EXPECT_FALSE(result.anyClientAcceptable);
}

TEST_F(SecureChannelOptionsTest, emptyListOfClientsIsRefusedWithEmptyBrackets) {
    set(L"AcceptableClientCertificateToReceiveNames", L"");
    expectRefused();
    EXPECT_EQ(
        log.lines,
        (Lines{{Severity::Error,
                L"Supplied value [] of AcceptableClientCertificateToReceiveNames is empty"}}));
}

TEST_F(SecureChannelOptionsTest, purposesAreReadInAnyLetterCase) {
    set(L"LibraryInvocationPurpose", L"listcertificates");
    EXPECT_EQ(options().libraryInvocationPurpose, LibraryInvocationPurpose::ListCertificates);
    set(L"LibraryInvocationPurpose", L"SELECTCERTIFICATEFROMUI");
    EXPECT_EQ(options().libraryInvocationPurpose,
              LibraryInvocationPurpose::SelectCertificateFromUI);
}

TEST_F(SecureChannelOptionsTest, unknownPurposeIsRefusedWithNameAndValue) {
    set(L"LibraryInvocationPurpose", L"Nothing");
    expectRefused();
    EXPECT_EQ(log.lines,
              (Lines{{Severity::Error,
                      L"Supplied value [Nothing] of LibraryInvocationPurpose is invalid"}}));
}

TEST_F(SecureChannelOptionsTest, purposesAndChoicesHaveTheirNumbers) {
    EXPECT_EQ(static_cast<int>(LibraryInvocationPurpose::SecureCommunication), 0);
    EXPECT_EQ(static_cast<int>(LibraryInvocationPurpose::ListCertificates), 1);
    EXPECT_EQ(static_cast<int>(LibraryInvocationPurpose::SelectCertificateFromUI), 2);
    EXPECT_EQ(static_cast<int>(CertificateChoice::FromUserInterface), 0);
    EXPECT_EQ(static_cast<int>(CertificateChoice::AnySuitable), 1);
    EXPECT_EQ(static_cast<int>(CertificateChoice::ByName), 2);
    EXPECT_EQ(static_cast<int>(CertificateChoice::NoCertificate), 3);
}

TEST_F(SecureChannelOptionsTest, serverWithAnySearchesForASuitableCertificate) {
    set(L"ServerCertificateToSendName", L"aNY");
    EXPECT_EQ(options().certificateChoice(true), CertificateChoice::AnySuitable);
}

TEST_F(SecureChannelOptionsTest, serverWithANameSearchesForIt) {
    set(L"ServerCertificateToSendName", L"server.example");
    EXPECT_EQ(options().certificateChoice(true), CertificateChoice::ByName);
}

TEST_F(SecureChannelOptionsTest, serverAsksTheUserWhenThatIsThePurpose) {
    set(L"LibraryInvocationPurpose", L"SelectCertificateFromUI");
    set(L"ServerCertificateToSendName", L"server.example");
    EXPECT_EQ(options().certificateChoice(true), CertificateChoice::FromUserInterface);
}

TEST_F(SecureChannelOptionsTest, clientNeverAsksTheUser) {
    set(L"LibraryInvocationPurpose", L"SelectCertificateFromUI");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::NoCertificate);
    set(L"ClientCertificateToSendName", L"Any");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::AnySuitable);
    set(L"ClientCertificateToSendName", L"client.example");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::ByName);
}

TEST_F(SecureChannelOptionsTest, clientWithAnySearchesForASuitableCertificate) {
    set(L"ClientCertificateToSendName", L"any");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::AnySuitable);
}

TEST_F(SecureChannelOptionsTest, clientWithANameSearchesForIt) {
    set(L"ClientCertificateToSendName", L"client.example");
    EXPECT_EQ(options().certificateChoice(false), CertificateChoice::ByName);
}

} // namespace
} // namespace VexaSsl::test
