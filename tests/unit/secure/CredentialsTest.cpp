#include "secure/ChannelCredentials.h"

#include "config/SecureChannelOptions.h"
#include "config/SslConfig.h"
#include "config/Vocabulary.h"
#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ne;
using testing::Not;
using Calls = std::vector<std::string>;

const LogLine opening{Severity::Debug, L"Opening Cert Store"};
const LogLine closed{Severity::Debug, L"Closed Cert Store"};
const LogLine succeeded{Severity::Debug, L"AcquireCredentialsHandle succeeded"};
const LogLine foundOne{Severity::Info, L"Found a certificate to try"};
const LogLine noneSuitable{Severity::Error,
                           L"Tried to find a default certificate, but none were suitable"};
const LogLine trustedForServers{Severity::Debug,
                                L"The certificate chain is trusted for server authentication"};
const LogLine trustedForClients{Severity::Debug,
                                L"The certificate chain is trusted for client authentication"};

struct CredentialsTest : testing::Test {
    CredentialsTest() {
        platform.AcquireCredentialsHandleW = [this](wchar_t*, wchar_t*, ULONG use, void*,
                                                    void* authData, SEC_GET_KEY_FN, void*,
                                                    CredHandle* made, TimeStamp*) {
            const auto* description = static_cast<const SCHANNEL_CRED*>(authData);
            usesAcquired.push_back(use);
            certificatesAcquired.push_back(description->paCred[0]);
            *made = {7, 8};
            return SEC_E_OK;
        };
        platform.FreeCredentialsHandle = [](CredHandle* freed) {
            EXPECT_EQ(freed->dwLower, 7U);
            EXPECT_EQ(freed->dwUpper, 8U);
            return SEC_E_OK;
        };
        scriptComputerName(L"host.unit.test");
    }

    void scriptComputerName(const std::wstring& name) {
        platform.GetComputerNameExW = [name](COMPUTER_NAME_FORMAT format, wchar_t* buffer,
                                             DWORD* size) {
            EXPECT_EQ(format, 3);
            const DWORD needed = static_cast<DWORD>(name.size() + 1);
            if (buffer == nullptr) {
                EXPECT_EQ(*size, 0U);
                *size = needed;
                return FALSE;
            }
            EXPECT_EQ(*size, needed);
            std::wmemcpy(buffer, name.c_str(), needed);
            *size = needed - 1;
            return TRUE;
        };
    }

    void serverSends(const std::wstring& name) {
        config.setValue(ConfigurationDefinition::ConnectionOptions::ServerCertificateToSendName,
                        name);
    }
    void clientSends(const std::wstring& name) {
        config.setValue(ConfigurationDefinition::ConnectionOptions::ClientCertificateToSendName,
                        name);
    }
    void askTheUser() {
        config.setValue(
            ConfigurationDefinition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
            L"SelectCertificateFromUI");
    }
    void userPicks(PCCERT_CONTEXT certificate) {
        askTheUser();
        platform.CryptUIDlgSelectCertificateFromStore =
            [=, this](HCERTSTORE store, HWND parent, const wchar_t* title, const wchar_t* display,
                      DWORD dontUseColumn, DWORD flags, void* reserved) {
                EXPECT_EQ(store, shelf.storeHandle);
                EXPECT_EQ(parent, nullptr);
                EXPECT_EQ(title, nullptr);
                EXPECT_EQ(display, nullptr);
                EXPECT_EQ(dontUseColumn, 0U);
                EXPECT_EQ(flags, 0U);
                EXPECT_EQ(reserved, nullptr);
                return certificate == nullptr ? nullptr : shelf.lend(certificate);
            };
    }
    void refuseToAcquire(SECURITY_STATUS status) {
        platform.AcquireCredentialsHandleW = [=](auto...) { return status; };
    }

    std::unique_ptr<ChannelCredentials> make(bool isServer) {
        options = std::make_unique<SecureChannelOptions>(log, config);
        return std::make_unique<ChannelCredentials>(log, isServer, *options);
    }

    // The text of the exception that the construction throws.
    std::string failure(bool isServer) {
        try {
            make(isServer);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no exception";
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    SslConfig config{log, L"unit test"};
    std::unique_ptr<SecureChannelOptions> options;
    std::vector<ULONG> usesAcquired;
    std::vector<PCCERT_CONTEXT> certificatesAcquired;
};

constexpr bool server = true;
constexpr bool client = false;

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

TEST_F(CredentialsTest, ofSeveralCertificatesWithTheNameTheLastIsUsedAndNoLineSaysSo) {
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByName = {shelf.make(), shelf.make(), last};
    serverSends(L"alpha");
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last));
    EXPECT_EQ(shelf.held(), 0);
    EXPECT_THAT(log.lines, ElementsAre(opening, succeeded));
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

TEST_F(CredentialsTest, clientTakesTheLastTrustedCertificateOfItsUsage) {
    const PCCERT_CONTEXT first = shelf.make({L"first.test"});
    const PCCERT_CONTEXT taken = shelf.make({L"taken.test"});
    shelf.foundByUsage = {first, taken};
    clientSends(L"Any");
    const auto credentials = make(client);
    EXPECT_THAT(certificatesAcquired, ElementsAre(taken));
    EXPECT_THAT(shelf.usagesSearched, ElementsAre("1.3.6.1.5.5.7.3.2"));
    EXPECT_THAT(shelf.namesSearched, testing::IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre(opening, trustedForClients, trustedForClients, foundOne,
                                       LogLine{Severity::Info,
                                               L"All names on this certificate: [taken.test] "},
                                       succeeded));
}

TEST_F(CredentialsTest, certificateThatWasNotTakenIsHeldButNeverTried) {
    const PCCERT_CONTEXT first = shelf.make();
    shelf.foundByUsage = {first, shelf.make()};
    clientSends(L"Any");
    auto credentials = make(client);
    EXPECT_EQ(shelf.references[first], 1);
    EXPECT_EQ(shelf.held(), 1);
    EXPECT_EQ(certificatesAcquired.size(), 1U);
    credentials.reset();
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, releaseFreesCandidatesThenTheCredentialThenTheStore) {
    shelf.foundByUsage = {shelf.make(), shelf.make()};
    clientSends(L"Any");
    auto credentials = make(client);
    platform.calls.clear();
    credentials.reset();
    EXPECT_EQ(platform.calls,
              (Calls{"CertFreeCertificateContext", "FreeCredentialsHandle", "CertCloseStore"}));
}

TEST_F(CredentialsTest, candidateThatFailsVerificationIsLoggedAndLeftOut) {
    const PCCERT_CONTEXT trusted = shelf.make({L"trusted.test"});
    const PCCERT_CONTEXT untrusted = shelf.make({L"untrusted.test"});
    shelf.foundByUsage = {trusted, untrusted};
    shelf.untrusted = {untrusted};
    clientSends(L"Any");
    const auto credentials = make(client);
    EXPECT_THAT(certificatesAcquired, ElementsAre(trusted));
    EXPECT_EQ(log.lines[2].severity, Severity::Warning);
    EXPECT_EQ(log.lines[3],
              (LogLine{Severity::Info,
                       L"The certificate chain is not trusted for client authentication"}));
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, candidatesThatAllFailVerificationLeaveNoDefault) {
    shelf.foundByUsage = {shelf.make(), shelf.make()};
    shelf.untrusted = {shelf.foundByUsage.begin(), shelf.foundByUsage.end()};
    clientSends(L"Any");
    EXPECT_EQ(failure(client), "no default certificate");
    EXPECT_EQ(std::count_if(log.lines.begin(), log.lines.end(),
                            [](const LogLine& line) { return line.severity == Severity::Warning; }),
              2);
    EXPECT_EQ(log.lines[log.lines.size() - 2], noneSuitable);
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, serverDefaultNamesTheMachineAndIsMeantForServers) {
    const PCCERT_CONTEXT certificate = shelf.make({L"host.unit.test"});
    shelf.foundByName = {certificate};
    shelf.foundByUsage = {shelf.make(), certificate};
    const auto credentials = make(server);
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"host.unit.test"));
    EXPECT_THAT(shelf.usagesSearched, ElementsAre("1.3.6.1.5.5.7.3.1"));
    EXPECT_THAT(certificatesAcquired, ElementsAre(certificate));
    EXPECT_THAT(log.lines, ElementsAre(opening, trustedForServers, foundOne,
                                       LogLine{Severity::Info,
                                               L"All names on this certificate: [host.unit.test] "},
                                       succeeded));
}

TEST_F(CredentialsTest, serverTakesTheLastSuitableInTheOrderOfTheSearchByName) {
    const PCCERT_CONTEXT first = shelf.make();
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByName = {first, last};
    shelf.foundByUsage = {last, first};
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last));
}

TEST_F(CredentialsTest, certificateOfTheMachineWithoutServerUsageIsLeftOut) {
    const PCCERT_CONTEXT suitable = shelf.make();
    const PCCERT_CONTEXT wrongUsage = shelf.make();
    shelf.foundByName = {suitable, wrongUsage};
    shelf.foundByUsage = {suitable};
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(suitable));
}

TEST_F(CredentialsTest, serverWithNoCertificateOfServerUsageHasNoDefault) {
    shelf.foundByName = {shelf.make()};
    shelf.foundByUsage = {shelf.make()};
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(log.lines, ElementsAre(opening, noneSuitable, closed));
    EXPECT_THAT(platform.calls, Each(Ne("CertGetCertificateChain"))); // nothing was left to verify
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsTest, certificatesAreComparedByTheirInfos) {
    const PCCERT_CONTEXT named = shelf.make();
    const PCCERT_CONTEXT meant = shelf.make();
    shelf.foundByName = {named};
    shelf.foundByUsage = {meant};
    platform.CertCompareCertificate = [=](DWORD encoding, CERT_INFO* left, CERT_INFO* right) {
        EXPECT_EQ(encoding, 0x10001U);
        EXPECT_EQ(left, named->pCertInfo);
        EXPECT_EQ(right, meant->pCertInfo);
        return TRUE;
    };
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(named)); // the one that was found by name
}

TEST_F(CredentialsTest, serverSearchesNameThenUsageThenComparesThenVerifies) {
    shelf.foundByName = {shelf.make(), shelf.make()};
    shelf.foundByUsage = shelf.foundByName;
    make(server);
    Calls order;
    for (const std::string& call : platform.calls) {
        const bool counts = call == "GetComputerNameExW" || call == "CertFindCertificateInStore" ||
                            call == "CertCompareCertificate" || call == "CertGetCertificateChain" ||
                            call == "AcquireCredentialsHandleW";
        if (counts && (order.empty() || order.back() != call)) {
            order.push_back(call);
        }
    }
    EXPECT_EQ(order,
              (Calls{"GetComputerNameExW", "CertFindCertificateInStore", "CertCompareCertificate",
                     "CertGetCertificateChain", "AcquireCredentialsHandleW"}));
}

TEST_F(CredentialsTest, computerNameThatCantBeReadIsEmptyAndNotReported) {
    platform.GetComputerNameExW = [](COMPUTER_NAME_FORMAT, wchar_t* buffer, DWORD* size) {
        if (buffer == nullptr) {
            *size = 20;
        }
        return FALSE;
    };
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L""));
    EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "GetComputerNameExW"), 2);
    ASSERT_GE(log.lines.size(), 3U);
    EXPECT_EQ(log.lines[0], opening);
    EXPECT_EQ(log.lines[2], (LogLine{Severity::Info, L"Name searched for: []"}));
}

TEST_F(CredentialsTest, computerNameIsEmptyWhenAskingForItsSizeSucceeds) {
    platform.GetComputerNameExW = [](auto...) { return TRUE; };
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L""));
    EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "GetComputerNameExW"), 1);
}

TEST_F(CredentialsTest, clientNeverAsksTheUser) {
    askTheUser(); // the picker has no script: calling it would fail the test
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
