// ChannelCredentials: the choice of a default certificate.
#include "unit/secure/CredentialsFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

namespace VexaSsl::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ne;
using testing::StrictMock;
using Calls = std::vector<std::string>;

const LogLine foundOne{Severity::Info, L"Found a certificate to try"};
const LogLine noneSuitable{Severity::Error,
                           L"Tried to find a default certificate, but none were suitable"};
const LogLine trustedForServers{Severity::Debug,
                                L"The certificate chain is trusted for server authentication"};
const LogLine trustedForClients{Severity::Debug,
                                L"The certificate chain is trusted for client authentication"};

struct CredentialsDefaultTest : CredentialsTest {};

TEST_F(CredentialsDefaultTest, clientTakesTheLastTrustedCertificateOfItsUsage) {
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

TEST_F(CredentialsDefaultTest, certificateThatWasNotTakenIsHeldButNeverTried) {
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

TEST_F(CredentialsDefaultTest, releaseFreesCandidatesThenTheCredentialThenTheStore) {
    shelf.foundByUsage = {shelf.make(), shelf.make()};
    clientSends(L"Any");
    auto credentials = make(client);
    platform.calls.clear();
    credentials.reset();
    EXPECT_EQ(platform.calls,
              (Calls{"CertFreeCertificateContext", "FreeCredentialsHandle", "CertCloseStore"}));
}

TEST_F(CredentialsDefaultTest, candidateThatFailsVerificationIsLoggedAndLeftOut) {
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

TEST_F(CredentialsDefaultTest, candidatesThatAllFailVerificationLeaveNoDefault) {
    shelf.foundByUsage = {shelf.make(), shelf.make()};
    shelf.foundByName = shelf.foundByUsage;
    shelf.untrusted = {shelf.foundByUsage.begin(), shelf.foundByUsage.end()};
    clientSends(L"Any");
    for (const bool role : {client, server}) {
        log.lines.clear();
        EXPECT_EQ(failure(role), "no default certificate");
        EXPECT_EQ(
            std::count_if(log.lines.begin(), log.lines.end(),
                          [](const LogLine& line) { return line.severity == Severity::Warning; }),
            2);
        EXPECT_EQ(log.lines[log.lines.size() - 2], noneSuitable);
        EXPECT_EQ(shelf.held(), 0);
    }
}

TEST_F(CredentialsDefaultTest, serverDefaultNamesTheMachineAndIsMeantForServers) {
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

TEST_F(CredentialsDefaultTest, serverTakesTheLastSuitableInTheOrderOfTheSearchByName) {
    const PCCERT_CONTEXT first = shelf.make();
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByName = {first, last};
    shelf.foundByUsage = {last, first};
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last));
}

TEST_F(CredentialsDefaultTest, certificateOfTheMachineWithoutServerUsageIsLeftOut) {
    const PCCERT_CONTEXT suitable = shelf.make();
    const PCCERT_CONTEXT wrongUsage = shelf.make();
    shelf.foundByName = {suitable, wrongUsage};
    shelf.foundByUsage = {suitable};
    const auto credentials = make(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(suitable));
}

TEST_F(CredentialsDefaultTest, serverWithNoCertificateOfServerUsageHasNoDefault) {
    shelf.foundByName = {shelf.make()};
    shelf.foundByUsage = {shelf.make()};
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(log.lines, ElementsAre(opening, noneSuitable, closed));
    EXPECT_THAT(platform.calls, Each(Ne("CertGetCertificateChain"))); // nothing is left to verify
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CredentialsDefaultTest, missByTheMachinesNameIsLoggedWithoutATerminator) {
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(log.lines,
                Contains(LogLine{Severity::Info, L"Name searched for: [host.unit.test]"}));
}

TEST_F(CredentialsDefaultTest, certificatesAreComparedByTheirInfos) {
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
    EXPECT_THAT(certificatesAcquired, ElementsAre(named)); // found by name
}

TEST_F(CredentialsDefaultTest, serverSearchesNameThenUsageThenComparesThenVerifies) {
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

TEST_F(CredentialsDefaultTest, eachCertificatePassedOverIsObservedWithItsReason) {
    shelf.foundByName = {shelf.make(), shelf.make(), shelf.make(), shelf.make()};
    const auto& [wrongUsage, untrusted, first, last] = std::tie(
        shelf.foundByName[0], shelf.foundByName[1], shelf.foundByName[2], shelf.foundByName[3]);
    shelf.foundByUsage = {untrusted, first, last};
    shelf.untrusted = {untrusted};
    StrictMock<SelectionObserver> observer;
    EXPECT_CALL(observer, passedOver(wrongUsage, PassedOver::WrongUsage));
    EXPECT_CALL(observer, passedOver(untrusted, PassedOver::NotTrusted));
    EXPECT_CALL(observer, passedOver(first, PassedOver::NotLast));
    EXPECT_CALL(observer, chosen(last));
    make(server, &observer);
}

TEST_F(CredentialsDefaultTest, computerNameThatCantBeReadIsEmptyAndNotReported) {
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

TEST_F(CredentialsDefaultTest, computerNameIsEmptyWhenAskingForItsSizeSucceeds) {
    platform.GetComputerNameExW = [](auto...) { return TRUE; };
    EXPECT_EQ(failure(server), "no default certificate");
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L""));
    EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "GetComputerNameExW"), 1);
}

} // namespace
} // namespace VexaSsl::test
