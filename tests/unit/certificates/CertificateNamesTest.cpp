// CertificateInspector: names, and the names without a log.
#include "certificates/CertificateNames.h"

#include "certificates/CertificateInspector.h"

#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const LogLine noNames{Severity::Warning,
                      L"CertGetNameStringW could not find any names on the certificate"};

struct CertificateNamesTest : testing::Test {
    // Records every call of CertGetNameStringW.
    struct Call {
        DWORD type;
        DWORD flags;
        bool hasParameter;
        bool hasBuffer;
        DWORD size;
        bool operator==(const Call&) const = default;
    };
    void recordCalls() {
        auto original = platform.CertGetNameStringW;
        auto calls = std::make_shared<std::vector<Call>>();
        recorded = calls;
        platform.CertGetNameStringW = [=](PCCERT_CONTEXT certificate, DWORD type, DWORD flags,
                                          void* parameter, wchar_t* buffer, DWORD size) {
            calls->push_back({type, flags, parameter != nullptr, buffer != nullptr, size});
            if (parameter != nullptr) {
                EXPECT_EQ(*static_cast<DWORD*>(parameter), 0x10000001U);
            }
            return original(certificate, type, flags, parameter, buffer, size);
        };
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    CertificateInspector inspector{log};
    std::shared_ptr<std::vector<Call>> recorded;
};

TEST_F(CertificateNamesTest, bothDnsNamesComeBackInTheirOrder) {
    const PCCERT_CONTEXT certificate = shelf.make({L"b.test", L"a.test"});
    EXPECT_THAT(inspector.getAllNames(certificate), ElementsAre(L"b.test", L"a.test"));
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CertificateNamesTest, reportPutsEachNameInBracketsFollowedByASpace) {
    inspector.reportAllNames(shelf.make({L"b.test", L"a.test"}));
    EXPECT_THAT(
        log.lines,
        ElementsAre(LogLine{Severity::Info, L"All names on this certificate: [b.test] [a.test] "}));
}

TEST_F(CertificateNamesTest, certificateWithoutNamesWarnsAndGivesAnEmptyList) {
    EXPECT_THAT(inspector.getAllNames(shelf.make()), IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre(noNames));
}

TEST_F(CertificateNamesTest, reportWithoutNamesEndsAfterTheSpace) {
    inspector.reportAllNames(shelf.make());
    EXPECT_THAT(log.lines,
                ElementsAre(noNames, LogLine{Severity::Info, L"All names on this certificate: "}));
}

TEST_F(CertificateNamesTest, namesAreSizedFirstAndThenFetchedWithoutTheParameter) {
    recordCalls();
    inspector.getAllNames(shelf.make({L"a.test"}));
    EXPECT_THAT(*recorded, ElementsAre(Call{6, 2, true, false, 0}, Call{6, 2, false, true, 8}));
}

TEST_F(CertificateNamesTest, namesAreFetchedEvenWhenThereAreNone) {
    recordCalls();
    inspector.getAllNames(shelf.make());
    EXPECT_THAT(*recorded, ElementsAre(Call{6, 2, true, false, 0}, Call{6, 2, false, true, 1}));
}

TEST_F(CertificateNamesTest, namesEndWithTheBufferWhenNoEmptyOneDoesIt) {
    platform.CertGetNameStringW = [](PCCERT_CONTEXT, DWORD, DWORD, void*, wchar_t* buffer,
                                     DWORD size) {
        std::fill_n(buffer, buffer == nullptr ? 0 : size, L'x');
        return DWORD{4};
    };
    EXPECT_THAT(inspector.getAllNames(shelf.make()), ElementsAre(L"xxxx"));
}

TEST_F(CertificateNamesTest, sizeOfZeroGivesNoNames) {
    platform.CertGetNameStringW = [](auto...) { return DWORD{0}; };
    EXPECT_THAT(inspector.getAllNames(shelf.make()), IsEmpty());
    EXPECT_EQ(inspector.getFriendlyName(shelf.make()), L"");
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CertificateNamesTest, friendlyNameComesWithoutItsTerminator) {
    EXPECT_EQ(inspector.getFriendlyName(shelf.make({}, L"My key")), L"My key");
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CertificateNamesTest, friendlyNameIsSizedFirstAndThenFetchedWithoutTheParameter) {
    recordCalls();
    inspector.getFriendlyName(shelf.make({}, L"abc"));
    EXPECT_THAT(*recorded, ElementsAre(Call{5, 0, true, false, 0}, Call{5, 0, false, true, 4}));
}

TEST_F(CertificateNamesTest, missingFriendlyNameWarnsInItsOwnWordingAndIsEmpty) {
    EXPECT_EQ(inspector.getFriendlyName(shelf.make()), L"");
    EXPECT_THAT(log.lines, ElementsAre(LogLine{
                               Severity::Warning,
                               L"CertGetNameString could not find any names on the certificate"}));
}

TEST_F(CertificateNamesTest, dnsNamesAreReadWithTheSameCallsAndNoLine) {
    recordCalls();
    EXPECT_THAT(dnsNamesOf(shelf.make({L"b.test", L"a.test"})), ElementsAre(L"b.test", L"a.test"));
    EXPECT_THAT(*recorded, ElementsAre(Call{6, 2, true, false, 0}, Call{6, 2, false, true, 15}));
    EXPECT_THAT(dnsNamesOf(shelf.make()), IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CertificateNamesTest, subjectIsAskedForAsAWhole) {
    const auto original = platform.CertGetNameStringW;
    platform.CertGetNameStringW = [&](PCCERT_CONTEXT certificate, DWORD type, DWORD flags,
                                      void* parameter, wchar_t* buffer, DWORD size) {
        EXPECT_EQ(type, 2U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(*static_cast<DWORD*>(parameter), 3U);
        EXPECT_EQ(size, buffer == nullptr ? 0U : 8U);
        return original(certificate, type, flags, parameter, buffer, size);
    };
    EXPECT_EQ(subjectOf(shelf.make({}, L"peer")), L"CN=peer");
}

TEST_F(CertificateNamesTest, subjectThatFailsToBeWrittenIsEmpty) {
    platform.CertGetNameStringW = [](auto, auto, auto, auto, wchar_t* buffer, auto) {
        return buffer == nullptr ? 8U : 1U;
    };
    EXPECT_EQ(subjectOf(shelf.make({}, L"peer")), L"");
}

} // namespace
} // namespace VexaSsl::test
