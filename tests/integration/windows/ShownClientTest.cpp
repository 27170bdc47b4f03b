// Which clients a server accepts that requires certificates. The security package of Wine requests
// none, so the query for the client's certificate is replaced; store, chain and names are the
// system's.
#include "integration/support/ConnectedPair.h"
#include "integration/support/LogMatchers.h"
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

const ImportedCall* replaced = nullptr; // replaced by showClient
std::string shownSubject;               // empty: no certificate

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

ConnectedPair meetShowing(const std::string& subject, const std::string& acceptable = "Any") {
    shownSubject = subject;
    const ImportedCall call("QueryContextAttributesW", reinterpret_cast<void*>(&showClient));
    replaced = &call;
    return connectPair(
        {.client = Settings::encrypted(),
         .server = Settings::serverSending(pki::localhost)
                       .with("RequireClientAuthentication", "True")
                       .with("AcceptableClientCertificateToReceiveNames", acceptable)});
}

TEST(ShownClient, anyTrustedClientIsAccepted) {
    ConnectedPair pair = meetShowing(pki::client);
    ASSERT_TRUE(pair.established());
    EXPECT_TRUE(pair.client.sendAll("known"));
    EXPECT_EQ(pair.server.receiveAll(5), "known");
    EXPECT_EQ(pair.server.log->count(Severity::Debug,
                                     L"The certificate chain is trusted for client authentication"),
              1U);
}

TEST(ShownClient, listedNameIsAcceptedInAnyCase) {
    EXPECT_TRUE(meetShowing(pki::client, "somebody,CLIENT.Test").established());
}

TEST(ShownClient, clientWithAnIntermediateOfTheStoreIsAccepted) {
    EXPECT_TRUE(meetShowing(pki::clientWithIntermediate).established());
}

TEST(ShownClient, clientWithoutACertificateIsRefused) {
    const ConnectedPair pair = meetShowing("");
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
        ElementsAre(
            warning(L"QueryContextAttributes (SECPKG_ATTR_REMOTE_CERT_CONTEXT) returned "
                    L"[SEC_E_NO_CREDENTIALS]. Probable cause: no certificate was sent"),
            error(L"Unable to obtain a certificate to authenticate the client by. Terminating "
                  L"connection"),
            error(L"Can't establish a security context. client authentication failed: can't get "
                  L"client cert")));
}

// The line names the certificate by its friendly name.
void expectNotTrusted(const ConnectedPair& pair, unsigned long code, const std::wstring& place) {
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
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

TEST(ShownClient, selfSignedClientIsRefused) {
    expectNotTrusted(meetShowing(pki::selfSignedClient), 0x800B0109, L"client.test");
}

TEST(ShownClient, expiredClientIsRefused) {
    expectNotTrusted(meetShowing(pki::expiredClient), 0x800B0101, L"client.test");
}

TEST(ShownClient, trustedClientWithAnotherNameIsRefusedAndNamesAreLogged) {
    const ConnectedPair pair = meetShowing(pki::clientWithTwoNames, "alpha,beta");
    EXPECT_EQ(pair.server.error, WSAECONNABORTED);
    EXPECT_THAT(
        pair.server.log->linesFrom(Severity::Info),
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
