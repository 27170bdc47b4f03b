#include "unit/secure/CredentialsFixture.h"

#include <gmock/gmock.h>

#include <cwchar>

namespace VexaSsl::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ne;
using testing::Not;
using testing::StrictMock;
using Calls = std::vector<std::string>;

TEST_F(CredentialsTest, clientWithDefaultsSearchesNothingButOpensAndClosesTheStore) {
    make(client);
    EXPECT_EQ(platform.calls, (Calls{"CertOpenStore", "AcquireCredentialsHandleW",
                                     "FreeCredentialsHandle", "CertCloseStore"}));
    EXPECT_THAT(log.lines, ElementsAre(opening, succeeded, closed));
    EXPECT_THAT(usesAcquired, ElementsAre(ULONG{SECPKG_CRED_OUTBOUND}));
}

TEST_F(CredentialsTest, clientWithoutCertificateDescribesNone) {
    platform.AcquireCredentialsHandleW =
        [](wchar_t* principal, wchar_t* package, ULONG use, void* logonId, void* authData,
           SEC_GET_KEY_FN keyFunction, void* keyArgument, CredHandle*, TimeStamp* expiry) {
            EXPECT_EQ(principal, nullptr);
            EXPECT_EQ(std::wstring(package), L"Microsoft Unified Security Protocol Provider");
            EXPECT_EQ(use, 2U);
            EXPECT_EQ(logonId, nullptr);
            EXPECT_EQ(keyFunction, nullptr);
            EXPECT_EQ(keyArgument, nullptr);
            EXPECT_NE(expiry, nullptr);
            const auto& description = *static_cast<const SCHANNEL_CRED*>(authData);
            EXPECT_EQ(description.cCreds, 0U);
            EXPECT_NE(description.paCred, nullptr);
            EXPECT_EQ(description.paCred[0], nullptr);
            return SEC_E_OK;
        };
    platform.FreeCredentialsHandle = [](auto...) { return SEC_E_OK; };
    make(client);
}

TEST_F(CredentialsTest, serverDescribesOneCertificateAndLeavesTheRestToThePlatform) {
    const PCCERT_CONTEXT certificate = shelf.make();
    shelf.foundByName = {certificate};
    serverSends(L"alpha");
    platform.AcquireCredentialsHandleW = [=](wchar_t*, wchar_t*, ULONG use, void*, void* authData,
                                             SEC_GET_KEY_FN, void*, CredHandle*, TimeStamp*) {
        EXPECT_EQ(use, 1U);
        const auto& description = *static_cast<const SCHANNEL_CRED*>(authData);
        EXPECT_EQ(description.dwVersion, 4U);
        EXPECT_EQ(description.cCreds, 1U);
        EXPECT_EQ(description.paCred[0], certificate);
        EXPECT_EQ(description.hRootStore, nullptr);
        EXPECT_EQ(description.cMappers, 0U);
        EXPECT_EQ(description.aphMappers, nullptr);
        EXPECT_EQ(description.cSupportedAlgs, 0U);
        EXPECT_EQ(description.palgSupportedAlgs, nullptr);
        EXPECT_EQ(description.grbitEnabledProtocols, 0U);
        EXPECT_EQ(description.dwMinimumCipherStrength, 0U);
        EXPECT_EQ(description.dwMaximumCipherStrength, 0U);
        EXPECT_EQ(description.dwSessionLifespan, 0U);
        EXPECT_EQ(description.dwFlags, 0U);
        EXPECT_EQ(description.dwCredFormat, 0U);
        return SEC_E_OK;
    };
    platform.FreeCredentialsHandle = [](auto...) { return SEC_E_OK; };
    make(server);
}

TEST_F(CredentialsTest, acquiredHandleIsKeptForTheHandshake) {
    const auto credentials = make(client);
    EXPECT_TRUE(static_cast<bool>(credentials->credentialHandle));
    EXPECT_EQ(credentials->credentialHandle.get().dwLower, 7U);
    EXPECT_EQ(credentials->credentialHandle.get().dwUpper, 8U);
}

TEST_F(CredentialsTest, chosenCertificateIsHeldTwiceForAMomentAndReleasedAfterAcquiring) {
    shelf.foundByName = {shelf.make()};
    serverSends(L"alpha");
    const auto credentials = make(server);
    EXPECT_EQ(platform.calls,
              (Calls{"CertOpenStore", "CertFindCertificateInStore",
                     "CertDuplicateCertificateContext", "CertFindCertificateInStore",
                     "CertDuplicateCertificateContext", "CertFreeCertificateContext",
                     "AcquireCredentialsHandleW", "CertFreeCertificateContext"}));
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, lastOfSeveralCertificatesWithTheNameIsUsedSilently) {
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByName = {shelf.make(), shelf.make(), last};
    serverSends(L"alpha");
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last));
    EXPECT_EQ(shelf.held(), 0);
    EXPECT_THAT(log.lines, ElementsAre(opening, succeeded));
}

TEST_F(CredentialsTest, chosenCertificateIsObservedBeforeItIsAcquired) {
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByName = {shelf.make(), last};
    serverSends(L"alpha");
    StrictMock<SelectionObserver> observer;
    EXPECT_CALL(observer, passedOver(shelf.foundByName[0], PassedOver::NotLast));
    EXPECT_CALL(observer, chosen(last)).WillOnce([&](PCCERT_CONTEXT) {
        EXPECT_TRUE(certificatesAcquired.empty());
    });
    make(server, &observer);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last));
}

TEST_F(CredentialsTest, nothingIsObservedWhenNoCertificateIsSent) {
    StrictMock<SelectionObserver> observer;
    make(client, &observer);
}

TEST_F(CredentialsTest, pickedCertificateIsObserved) {
    const PCCERT_CONTEXT picked = shelf.make();
    userPicks(picked);
    StrictMock<SelectionObserver> observer;
    EXPECT_CALL(observer, chosen(picked));
    make(server, &observer);
}

TEST_F(CredentialsTest, serverSearchesItsOwnName) {
    shelf.foundByName = {shelf.make()};
    serverSends(L"for servers");
    clientSends(L"for clients");
    make(server);
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"for servers"));
}

TEST_F(CredentialsTest, clientSearchesItsOwnName) {
    const PCCERT_CONTEXT certificate = shelf.make();
    shelf.foundByName = {certificate};
    serverSends(L"for servers");
    clientSends(L"for clients");
    make(client);
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"for clients"));
    EXPECT_THAT(certificatesAcquired, ElementsAre(certificate));
    EXPECT_THAT(usesAcquired, ElementsAre(2U));
}

TEST_F(CredentialsTest, unknownNameEndsTheConnection) {
    clientSends(L"alpha");
    EXPECT_EQ(failure(client), "no available certificate");
    ASSERT_EQ(log.lines.size(), 5U);
    EXPECT_EQ(log.lines[2], (LogLine{Severity::Info, L"Name searched for: [alpha]"}));
    EXPECT_EQ(log.lines[3], (LogLine{Severity::Error,
                                     L"Was not able to find a certificate with the name [alpha]"}));
    EXPECT_EQ(log.lines[4], closed);
    EXPECT_THAT(platform.calls, Not(Contains("FreeCredentialsHandle")));
}

TEST_F(CredentialsTest, clientNeverAsksTheUser) {
    askTheUser(); // no picker is scripted: a call would fail the test
    make(client);
    EXPECT_THAT(log.lines, ElementsAre(opening, succeeded, closed));
}

TEST_F(CredentialsTest, serverUsesWhatTheUserPicksWhateverNameIsConfigured) {
    const PCCERT_CONTEXT picked = shelf.make({L"picked.test"});
    userPicks(picked);
    serverSends(L"another");
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(picked));
    EXPECT_THAT(log.lines, ElementsAre(opening,
                                       LogLine{Severity::Info,
                                               L"All names on this certificate: [picked.test] "},
                                       succeeded));
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, dismissedPickerWarnsThenFails) {
    userPicks(nullptr);
    EXPECT_EQ(failure(server), "no selected certificate");
    EXPECT_THAT(log.lines,
                ElementsAre(opening,
                            LogLine{Severity::Warning,
                                    L"CryptUIDlgSelectCertificateFromStore returned with no "
                                    L"selected certificate"},
                            LogLine{Severity::Error, L"User didn't select a certificate"}, closed));
}

struct CredentialsUnknownTest : CredentialsTest {
    CredentialsUnknownTest() { refuseToAcquire(SEC_E_UNKNOWN_CREDENTIALS); }

    const LogLine failed{Severity::Error,
                         L"AcquireCredentialsHandle failed with: 2148074253 (text of 2148074253)"};
};

TEST_F(CredentialsUnknownTest, lineNamesTheUserWhoNeedsTheKey) {
    platform.GetUserNameW = [](wchar_t* buffer, DWORD* size) {
        EXPECT_EQ(*size, 257U);
        std::wmemcpy(buffer, L"alice", 6);
        *size = 6;
        return TRUE;
    };
    EXPECT_EQ(failure(client), "aquire credentials failed");
    EXPECT_THAT(
        log.lines,
        ElementsAre(opening, failed,
                    LogLine{Severity::Info,
                            L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. "
                            L"Probable cause: user [alice] requires read access to the certificate "
                            L"private key."},
                    closed));
}

TEST_F(CredentialsUnknownTest, userNameThatCantBeReadIsReportedFirstAndEmpty) {
    platform.GetUserNameW = [this](wchar_t* buffer, DWORD*) {
        *buffer = L'x';
        platform.lastError = 122;
        return FALSE;
    };
    EXPECT_EQ(failure(client), "aquire credentials failed");
    EXPECT_THAT(
        log.lines,
        ElementsAre(opening,
                    LogLine{Severity::Error, L"GetUserName failed with: 122 (text of 122)"}, failed,
                    LogLine{Severity::Info,
                            L"AcquireCredentialsHandle failed with [SEC_E_UNKNOWN_CREDENTIALS]. "
                            L"Probable cause: user [] requires read access to the certificate "
                            L"private key."},
                    closed));
}

TEST_F(CredentialsUnknownTest, everythingHeldIsReleasedAndTheStoreClosed) {
    platform.GetUserNameW = [](auto...) { return FALSE; };
    shelf.foundByUsage = {shelf.make(), shelf.make()};
    clientSends(L"Any");
    EXPECT_EQ(failure(client), "aquire credentials failed");
    EXPECT_EQ(shelf.held(), 0);
    ASSERT_GE(platform.calls.size(), 3U);
    EXPECT_EQ(
        Calls(platform.calls.end() - 3, platform.calls.end()),
        (Calls{"CertFreeCertificateContext", "CertFreeCertificateContext", "CertCloseStore"}));
    EXPECT_THAT(platform.calls, Each(Ne("FreeCredentialsHandle")));
}

TEST_F(CredentialsTest, otherFailureOfAcquiringIsOneErrorLine) {
    refuseToAcquire(SEC_E_SECPKG_NOT_FOUND);
    EXPECT_EQ(failure(client), "aquire credentials failed");
    EXPECT_THAT(log.lines,
                ElementsAre(opening,
                            LogLine{Severity::Error, L"AcquireCredentialsHandle failed with: "
                                                     L"2148074245 (text of 2148074245)"},
                            closed));
}

} // namespace
} // namespace VexaSsl::test
