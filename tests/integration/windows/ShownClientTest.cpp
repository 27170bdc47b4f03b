// Which clients a server that asks for certificates lets stay. The package under these tests asks
// no client, so the certificate that a client would have sent is put in the place of its answer;
// the store, the chain, its verdict and the names are the system's own.
#include "integration/support/LogMatchers.h"
#include "integration/support/Meeting.h"
#include "integration/support/Pki.h"
#include "integration/windows/ImportedCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <schannel.h>
#include <security.h>
#include <wincrypt.h>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;

const ImportedCall* replaced = nullptr; // the one that showClient stands for
std::string shownSubject;               // empty: the client has sent none

PCCERT_CONTEXT findShown() {
    const HCERTSTORE store =
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                      CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG, L"MY");
    const std::wstring subject(shownSubject.begin(), shownSubject.end());
    const PCCERT_CONTEXT found = CertFindCertificateInStore(
        store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W, subject.c_str(), nullptr);
    CertCloseStore(store, 0);
    return found;
}

SECURITY_STATUS SEC_ENTRY showClient(PCtxtHandle context, unsigned long attribute, void* result) {
    if (attribute != SECPKG_ATTR_REMOTE_CERT_CONTEXT) {
        return replaced->original<decltype(&::QueryContextAttributesW)>()(context, attribute,
                                                                          result);
    }
    if (shownSubject.empty()) {
        return SEC_E_NO_CREDENTIALS;
    }
    *static_cast<PCCERT_CONTEXT*>(result) = findShown();
    return SEC_E_OK;
}

Meeting meetShowing(const std::string& subject, const std::string& acceptable = "Any") {
    shownSubject = subject;
    const ImportedCall call("QueryContextAttributesW", reinterpret_cast<void*>(&showClient));
    replaced = &call;
    return meet({.client = Settings::encrypted(),
                 .server = Settings::serverSending(pki::localhost)
                               .with("RequireClientAuthentication", "True")
                               .with("AcceptableClientCertificateToReceiveNames", acceptable)});
}

TEST(ShownClient, aTrustedClientStaysWhenAnyIsAcceptable) {
    Meeting meeting = meetShowing(pki::client);
    ASSERT_TRUE(meeting.established());
    EXPECT_TRUE(meeting.client.say("known"));
    EXPECT_EQ(meeting.server.hear(5), "known");
    EXPECT_EQ(meeting.server.log->count(
                  Severity::Debug, L"The certificate chain is trusted for client authentication"),
              1U);
}

TEST(ShownClient, aClientWhoseNameIsListedStaysWhateverTheCase) {
    EXPECT_TRUE(meetShowing(pki::client, "somebody,CLIENT.Test").established());
}

TEST(ShownClient, aClientBehindAnIntermediateOfTheStoreStays) {
    EXPECT_TRUE(meetShowing(pki::clientBehindIntermediate).established());
}

TEST(ShownClient, aClientWithoutACertificateIsRefused) {
    const Meeting meeting = meetShowing("");
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                    L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"),
            error(L"Unable to obtain a certificate to authenticate the client by. Terminating "
                  L"connection"),
            error(L"Can't establish a security context. client authentication failed: can't get "
                  L"client cert")));
}

// The element at fault is told by its friendly name.
void expectNotTrusted(const Meeting& meeting, unsigned long code, const std::wstring& place) {
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            lineStarting(Severity::Warning, L"CertVerifyCertificateChainPolicy returned status: " +
                                                std::to_wstring(code) + L" ("),
            info(L"The certificate chain is not trusted for client authentication"),
            info(L"The following information is not complete, but provided as a starting point. "
                 L"Please inspect the certificate chain through the Microsoft Management Console"),
            info(L"This error applies to the certificate with the friendly name [" + place + L"]"),
            error(L"The certificate provided by the client is not trusted. Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"trusted")));
}

TEST(ShownClient, aSelfSignedClientIsRefused) {
    expectNotTrusted(meetShowing(pki::selfSignedClient), 0x800B0109, L"client.test");
}

TEST(ShownClient, anExpiredClientIsRefused) {
    expectNotTrusted(meetShowing(pki::expiredClient), 0x800B0101, L"client.test");
}

TEST(ShownClient, aTrustedClientOfAnotherNameIsRefusedAndBothSidesNamesAreTold) {
    const Meeting meeting = meetShowing(pki::clientWithTwoNames, "alpha,beta");
    EXPECT_EQ(meeting.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        meeting.server.log->linesFrom(Severity::Info),
        ElementsAre(
            info(L"All names on this certificate: [first.test] [second.test] "),
            info(L"The names we would accept are: [alpha], [beta]"),
            error(L"The certificate provided by the client is trusted, but not acceptable. "
                  L"Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"acceptable")));
}

} // namespace
} // namespace VexaSsl::test
