// CertificateStore: the enumeration and the picker.
#include "certificates/CertificateStore.h"

#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using Calls = std::vector<std::string>;

const LogLine another{Severity::Debug, L"Got a new certificate"};
const std::wstring servers = L"server authentication";
const std::wstring clients = L"client authentication";
const LogLine trustedForServers{Severity::Debug,
                                L"The certificate chain is trusted for " + servers};
const LogLine trustedForClients{Severity::Debug,
                                L"The certificate chain is trusted for " + clients};
const LogLine noMore{Severity::Debug, L"No more certificates to enumerate"};

LogLine namesLine(const std::wstring& names) {
    return {Severity::Info, L"All names on this certificate: " + names};
}

std::vector<LogLine> linesOfWrongUsage(const std::wstring& purpose) {
    return {{Severity::Warning, L"CertVerifyCertificateChainPolicy returned status: 2148204816 "
                                L"(text of 2148204816)"},
            {Severity::Info, L"The certificate chain is not trusted for " + purpose},
            {Severity::Info, L"The following information is not complete, but provided as a "
                             L"starting point. Please inspect the certificate chain through "
                             L"the Microsoft Management Console"},
            {Severity::Info, L"This error applies to the entire certificate chain"}};
}

struct CertificateUtilitiesTest : testing::Test {
    CertificateUtilitiesTest() {
        log.lines.clear();
        platform.calls.clear();
    }

    // The error number at the end of the enumeration.
    void endWalksWith(DWORD error) {
        platform.CertEnumCertificatesInStore = [this, error](auto...) {
            platform.lastError = static_cast<int>(error);
            return nullptr;
        };
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    const CertificateStore store{log};
};

struct CertificateEnumerationTest : CertificateUtilitiesTest {};

TEST_F(CertificateEnumerationTest, emptyStoreIsOneLineAndNoError) {
    store.enumerateCertificates();
    EXPECT_THAT(log.lines, ElementsAre(noMore));
    EXPECT_EQ(platform.calls, (Calls{"CertEnumCertificatesInStore", "GetLastError"}));
}

TEST_F(CertificateEnumerationTest, eachCertificateIsNamedAndJudgedForServersThenForClients) {
    shelf.stored = {shelf.make({L"one.test", L"uno.test"})};
    store.enumerateCertificates();
    EXPECT_THAT(log.lines, ElementsAre(another, namesLine(L"[one.test] [uno.test] "),
                                       trustedForServers, trustedForClients, noMore));
}

TEST_F(CertificateEnumerationTest, certificatesComeInTheStoresOrder) {
    shelf.stored = {shelf.make({L"b.test"}), shelf.make({L"a.test"})};
    store.enumerateCertificates();
    EXPECT_THAT(log.lines, ElementsAre(another, namesLine(L"[b.test] "), trustedForServers,
                                       trustedForClients, another, namesLine(L"[a.test] "),
                                       trustedForServers, trustedForClients, noMore));
}

TEST_F(CertificateEnumerationTest, everyStepIsTakenOnTheOpenStoreFromThePreviousCertificate) {
    const PCCERT_CONTEXT first = shelf.make({L"one.test"});
    const PCCERT_CONTEXT second = shelf.make({L"two.test"});
    std::vector<PCCERT_CONTEXT> steppedFrom;
    platform.CertEnumCertificatesInStore = [&](HCERTSTORE walked, PCCERT_CONTEXT previous) {
        EXPECT_EQ(walked, shelf.storeHandle);
        steppedFrom.push_back(previous);
        platform.lastError = static_cast<int>(CRYPT_E_NOT_FOUND);
        return previous == nullptr ? first : previous == first ? second : nullptr;
    };
    store.enumerateCertificates();
    EXPECT_THAT(steppedFrom, ElementsAre(nullptr, first, second));
}

// The platform releases the previous certificate, so the store must not.
TEST_F(CertificateEnumerationTest, certificatesAreNeitherReleasedNorKept) {
    shelf.stored = {shelf.make({L"one.test"}), shelf.make({L"two.test"})};
    store.enumerateCertificates();
    EXPECT_EQ(shelf.held(), 0);
    EXPECT_THAT(platform.calls, testing::Not(testing::Contains("CertFreeCertificateContext")));
}

TEST_F(CertificateEnumerationTest, eachPurposeShowsItsVerdictWhateverTheOther) {
    const PCCERT_CONTEXT judged = shelf.make({L"one.test"});
    shelf.stored = {judged};
    for (const bool forServers : {true, false}) {
        for (const bool forClients : {true, false}) {
            shelf.untrustedForServers.clear();
            shelf.untrustedForClients.clear();
            std::vector<LogLine> expected{another, namesLine(L"[one.test] ")};
            const auto expect = [&](bool trusted, const LogLine& line, auto& untrusted,
                                    const std::wstring& purpose) {
                const auto lines = trusted ? std::vector{line} : linesOfWrongUsage(purpose);
                expected.insert(expected.end(), lines.begin(), lines.end());
                if (!trusted) {
                    untrusted = {judged};
                }
            };
            expect(forServers, trustedForServers, shelf.untrustedForServers, servers);
            expect(forClients, trustedForClients, shelf.untrustedForClients, clients);
            expected.push_back(noMore);
            log.lines.clear();
            store.enumerateCertificates();
            EXPECT_THAT(log.lines, ElementsAreArray(expected));
            EXPECT_EQ(shelf.held(), 0);
        }
    }
}

TEST_F(CertificateEnumerationTest, certificateWithoutNamesDoesNotEndTheWalk) {
    shelf.stored = {shelf.make(), shelf.make({L"two.test"})};
    store.enumerateCertificates();
    ASSERT_EQ(log.lines.size(), 10U);
    EXPECT_EQ(log.lines[1],
              (LogLine{Severity::Warning,
                       L"CertGetNameStringW could not find any names on the certificate"}));
    EXPECT_EQ(log.lines[2], namesLine(L""));
    EXPECT_EQ(log.lines[6], namesLine(L"[two.test] "));
}

TEST_F(CertificateEnumerationTest, otherErrorsAtTheEndAreErrorLinesAfterTheLastOne) {
    endWalksWith(5);
    store.enumerateCertificates();
    EXPECT_THAT(log.lines,
                ElementsAre(noMore, LogLine{Severity::Error,
                                            L"CertEnumCertificatesInStore failed with: 5 (text of "
                                            L"5)"}));
}

TEST_F(CertificateEnumerationTest, errorOfTheWalkIsReadAfterTheLastLine) {
    CallbackLog errorSetting;
    errorSetting.onLine = [&](auto&&...) { platform.lastError = 87; };
    const CertificateStore other(errorSetting);
    endWalksWith(CRYPT_E_NOT_FOUND);
    other.enumerateCertificates();
    EXPECT_EQ(errorSetting.lines.back(),
              (LogLine{Severity::Error, L"CertEnumCertificatesInStore failed "
                                        L"with: 87 (text of 87)"}));
}

TEST_F(CertificateEnumerationTest, enumerationCanBeRepeated) {
    shelf.stored = {shelf.make({L"one.test"})};
    store.enumerateCertificates();
    const std::vector<LogLine> once = log.lines;
    log.lines.clear();
    store.enumerateCertificates();
    EXPECT_THAT(log.lines, ElementsAreArray(once));
}

struct CertificateSelectionTest : CertificateUtilitiesTest {};

TEST_F(CertificateSelectionTest, pickedCertificateIsNamedAndHandedOver) {
    const PCCERT_CONTEXT wanted = shelf.make({L"one.test"});
    shelf.userPicks(wanted);
    {
        const CertificateHandle picked = store.selectCertificateFromUI();
        EXPECT_EQ(picked.get(), wanted);
        EXPECT_EQ(shelf.held(), 1);
    }
    EXPECT_EQ(shelf.held(), 0);
    EXPECT_THAT(log.lines, ElementsAre(namesLine(L"[one.test] ")));
}

TEST_F(CertificateSelectionTest, dismissedPickerIsAWarningAndAnEmptyResult) {
    shelf.userPicks(nullptr);
    const CertificateHandle picked = store.selectCertificateFromUI();
    EXPECT_FALSE(picked);
    EXPECT_EQ(picked.get(), nullptr);
    EXPECT_THAT(log.lines,
                ElementsAre(LogLine{Severity::Warning,
                                    L"CryptUIDlgSelectCertificateFromStore returned with no "
                                    L"selected certificate"}));
    EXPECT_EQ(platform.calls, Calls{"CryptUIDlgSelectCertificateFromStore"});
}

TEST_F(CertificateSelectionTest, pickedCertificateWithoutNamesIsStillTheResult) {
    const PCCERT_CONTEXT wanted = shelf.make();
    shelf.userPicks(wanted);
    const CertificateHandle picked = store.selectCertificateFromUI();
    EXPECT_EQ(picked.get(), wanted);
    EXPECT_THAT(log.lines,
                ElementsAre(LogLine{Severity::Warning, L"CertGetNameStringW could not find any "
                                                       L"names on the certificate"},
                            namesLine(L"")));
}

} // namespace
} // namespace VexaSsl::test
