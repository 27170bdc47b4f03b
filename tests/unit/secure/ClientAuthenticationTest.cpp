#include "secure/ClientAuthentication.h"

#include "config/Vocabulary.h"
#include "fakes/GoodHandshake.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <utility>

namespace VexaSsl::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Ne;
using Calls = std::vector<std::string>;

const LogLine noCertificate{Severity::Error,
                            L"Unable to obtain a certificate to authenticate the client by. "
                            L"Terminating connection"};
const LogLine noneSent{Severity::Warning,
                       L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                       L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"};
const LogLine trusted{Severity::Debug,
                      L"The certificate chain is trusted for client authentication"};
const LogLine notTrusted{
    Severity::Error,
    L"The certificate provided by the client is not trusted. Terminating connection"};
const LogLine notAcceptable{Severity::Error, L"The certificate provided by the client is trusted, "
                                             L"but not acceptable. Terminating connection"};

struct ClientAuthenticationTest : testing::Test {
    // A record of a server that requires authentication and accepts these clients.
    void accept(const std::wstring& names) {
        good.config.setValue(
            ConfigurationDefinition::ConnectionOptions::AcceptableClientCertificateToReceiveNames,
            names);
        record = good.makeRecord(true);
        record->options.requireClientAuthentication = true;
    }

    // What the package returns for the client's certificate.
    void answer(SECURITY_STATUS status, PCCERT_CONTEXT certificate) {
        good.platform.QueryContextAttributesW = [=, this](CtxtHandle* asked, ULONG attribute,
                                                          void* result) {
            EXPECT_EQ(asked, &context);
            EXPECT_EQ(attribute, 0x53U);
            auto* place = static_cast<PCCERT_CONTEXT*>(result);
            EXPECT_EQ(*place, nullptr);
            *place = certificate == nullptr ? nullptr : good.shelf.addReference(certificate);
            return status;
        };
    }
    PCCERT_CONTEXT clientSent(const std::vector<std::wstring>& names) {
        const PCCERT_CONTEXT certificate = good.shelf.make(names);
        answer(SEC_E_OK, certificate);
        return certificate;
    }

    std::string failure() {
        try {
            authenticateClient(*record, context);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no exception";
    }

    GoodHandshake good;
    std::unique_ptr<SecureSocketRecord> record;
    CtxtHandle context{1, 2};
};

TEST_F(ClientAuthenticationTest, certificateIsNotReadWhenAuthenticationIsNotRequired) {
    accept(L"alpha");
    record->options.requireClientAuthentication = false;
    authenticateClient(*record, context);
    EXPECT_THAT(good.platform.calls, IsEmpty());
    EXPECT_THAT(good.log.lines, IsEmpty());
}

TEST_F(ClientAuthenticationTest, clientWithoutACertificateIsRejected) {
    accept(L"alpha");
    answer(SEC_E_NO_CREDENTIALS, nullptr);
    EXPECT_EQ(failure(), "client authentication failed: can't get client cert");
    EXPECT_THAT(good.log.lines, ElementsAre(noneSent, noCertificate));
}

TEST_F(ClientAuthenticationTest, certificateThatCannotBeReadIsTwoErrorLines) {
    accept(L"alpha");
    for (const SECURITY_STATUS status : {SEC_E_INVALID_HANDLE, SEC_I_CONTEXT_EXPIRED}) {
        answer(status, nullptr);
        EXPECT_EQ(failure(), "client authentication failed: can't get client cert");
    }
    EXPECT_THAT(good.log.lines,
                ElementsAre(LogLine{Severity::Error, L"QueryContextAttributes failed with: "
                                                     L"2148074241 (text of 2148074241)"},
                            noCertificate,
                            LogLine{Severity::Error, L"QueryContextAttributes failed with: 590615 "
                                                     L"(text of 590615)"},
                            noCertificate));
}

TEST_F(ClientAuthenticationTest, successWithoutACertificateIsRejectedToo) {
    accept(L"alpha");
    answer(SEC_E_OK, nullptr);
    EXPECT_EQ(failure(), "client authentication failed: can't get client cert");
    EXPECT_THAT(good.log.lines, ElementsAre(noCertificate));
}

TEST_F(ClientAuthenticationTest, certificateThatCameWithAFailureIsUsed) {
    accept(L"Any");
    const PCCERT_CONTEXT certificate = good.shelf.make();
    answer(SEC_E_INTERNAL_ERROR, certificate);
    {
        const CertificateHandle fetched = fetchRemoteCertificate(*record, context);
        EXPECT_EQ(fetched.get(), certificate);
    }
    EXPECT_EQ(good.shelf.held(), 0);
}

TEST_F(ClientAuthenticationTest, untrustedCertificateHasItsNamesNeitherComparedNorReported) {
    accept(L"alpha");
    good.shelf.untrusted = {clientSent({L"alpha"})};
    EXPECT_EQ(failure(), "client authentication failed: cert not trusted");
    EXPECT_EQ(good.log.lines.back(), notTrusted);
    EXPECT_THAT(good.platform.calls, Each(Ne("CertGetNameStringW")));
    EXPECT_EQ(good.shelf.held(), 0);
}

TEST_F(ClientAuthenticationTest, trustIsCheckedForClientAuthentication) {
    accept(L"Any");
    clientSent({});
    bool asked = false;
    auto original = good.platform.CertGetCertificateChain;
    good.platform.CertGetCertificateChain = [&](auto engine, auto certificate, auto time,
                                                auto additional, CERT_CHAIN_PARA* parameters,
                                                auto flags, auto reserved, auto chain) {
        EXPECT_STREQ(parameters->RequestedUsage.Usage.rgpszUsageIdentifier[0], "1.3.6.1.5.5.7.3.2");
        asked = true;
        return original(engine, certificate, time, additional, parameters, flags, reserved, chain);
    };
    authenticateClient(*record, context);
    EXPECT_TRUE(asked);
}

TEST_F(ClientAuthenticationTest, anyTrustedClientIsAcceptedWithoutReadingItsNames) {
    accept(L"Any");
    clientSent({L"whoever"});
    authenticateClient(*record, context);
    EXPECT_THAT(good.log.lines, ElementsAre(trusted));
    EXPECT_EQ(good.platform.calls,
              (Calls{"QueryContextAttributesW", "CertGetCertificateChain",
                     "CertVerifyCertificateChainPolicy", "CertFreeCertificateChain",
                     "CertFreeCertificateContext"}));
    EXPECT_EQ(good.shelf.held(), 0);
}

TEST_F(ClientAuthenticationTest, nameThatDiffersOnlyByCaseIsAccepted) {
    accept(L"beta,Alpha.Test");
    clientSent({L"other", L"aLPHA.tEST"});
    authenticateClient(*record, context);
    EXPECT_THAT(good.log.lines, ElementsAre(trusted));
    EXPECT_THAT(good.platform.calls,
                ElementsAre("QueryContextAttributesW", "CertGetCertificateChain",
                            "CertVerifyCertificateChainPolicy", "CertFreeCertificateChain",
                            "CertGetNameStringW", "CertGetNameStringW",
                            "CertFreeCertificateContext"));
    EXPECT_EQ(good.shelf.held(), 0);
}

TEST_F(ClientAuthenticationTest, acceptableNameInsideALongerOneIsNotAccepted) {
    accept(L"alpha,beta");
    clientSent({L"alpha.test", L"an alpha"});
    EXPECT_EQ(failure(), "client authentication failed: cert not acceptable");
    EXPECT_THAT(
        good.log.lines,
        ElementsAre(
            trusted,
            LogLine{Severity::Info, L"All names on this certificate: [alpha.test] [an alpha] "},
            LogLine{Severity::Info, L"The names we would accept are: [alpha], [beta]"},
            notAcceptable));
    EXPECT_EQ(good.shelf.held(), 0);
}

TEST_F(ClientAuthenticationTest, wildcardsAreOrdinaryCharacters) {
    accept(L"*.test");
    clientSent({L"alpha.test"});
    EXPECT_EQ(failure(), "client authentication failed: cert not acceptable");
}

TEST_F(ClientAuthenticationTest, trustedCertificateWithoutNamesIsReportedWithNone) {
    accept(L"alpha,beta");
    clientSent({});
    EXPECT_EQ(failure(), "client authentication failed: cert not acceptable");
    const LogLine noNames{Severity::Warning,
                          L"CertGetNameStringW could not find any names on the certificate"};
    EXPECT_THAT(
        good.log.lines,
        ElementsAre(trusted, noNames, noNames,
                    LogLine{Severity::Info, L"All names on this certificate: "},
                    LogLine{Severity::Info, L"The names we would accept are: [alpha], [beta]"},
                    notAcceptable));
}

TEST_F(ClientAuthenticationTest, listOfOneAcceptableNameHasNoComma) {
    accept(L"alpha");
    clientSent({L"beta"});
    EXPECT_EQ(failure(), "client authentication failed: cert not acceptable");
    EXPECT_EQ(good.log.lines[2],
              (LogLine{Severity::Info, L"The names we would accept are: [alpha]"}));
}

TEST_F(ClientAuthenticationTest, firstMatchEndsTheComparison) {
    accept(L"alpha");
    const CertificateHandle certificate(
        good.shelf.addReference(good.shelf.make({L"alpha", L"beta"})));
    EXPECT_TRUE(isAcceptableClientCertificate(std::as_const(*record), certificate));
    record->options.acceptableClientNames = {L"gamma"};
    EXPECT_FALSE(isAcceptableClientCertificate(*record, certificate));
}

} // namespace
} // namespace VexaSsl::test
