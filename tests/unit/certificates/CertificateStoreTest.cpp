#include "certificates/CertificateStore.h"

#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"
#include "unit/Allocations.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using Calls = std::vector<std::string>;

const LogLine opening{Severity::Debug, L"Opening Cert Store"};
const LogLine closed{Severity::Debug, L"Closed Cert Store"};

struct CertificateStoreTest : testing::Test {
    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};

    // The hits of a search in a new store. Earlier lines are dropped.
    template <typename Search>
    std::vector<PCCERT_CONTEXT> contexts(Search search) {
        const CertificateStore store(log);
        log.lines.clear();
        platform.calls.clear();
        std::vector<PCCERT_CONTEXT> found;
        for (const CertificateHandle& handle : search(store)) {
            found.push_back(handle.get());
        }
        linesOfSearch = log.lines;
        callsOfSearch = platform.calls;
        return found;
    }
    std::vector<PCCERT_CONTEXT> byName(const std::wstring& name) {
        return contexts([&](const CertificateStore& store) { return store.findByName(name); });
    }
    std::vector<PCCERT_CONTEXT> byUsage(bool forServer) {
        return contexts(
            [&](const CertificateStore& store) { return store.findByEnhancedKeyUsage(forServer); });
    }

    std::vector<LogLine> linesOfSearch;
    Calls callsOfSearch;
};

TEST_F(CertificateStoreTest, openingIsLoggedBeforeItHappens) {
    std::vector<LogLine> linesAtOpening;
    platform.CertOpenStore = [&](auto...) {
        linesAtOpening = log.lines;
        return shelf.storeHandle;
    };
    const CertificateStore store(log);
    EXPECT_THAT(linesAtOpening, ElementsAre(opening));
    EXPECT_THAT(log.lines, ElementsAre(opening));
    EXPECT_EQ(store.handle, shelf.storeHandle);
}

TEST_F(CertificateStoreTest, machinesPersonalStoreIsOpenedForReading) {
    platform.CertOpenStore = [&](const char* provider, DWORD encoding, HCRYPTPROV_LEGACY crypto,
                                 DWORD flags, const void* parameter) {
        EXPECT_EQ(reinterpret_cast<ULONG_PTR>(provider), 10U);
        EXPECT_EQ(encoding, 0U);
        EXPECT_EQ(crypto, 0U);
        EXPECT_EQ(flags, 0x2C000U);
        EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(parameter)), L"MY");
        return shelf.storeHandle;
    };
    const CertificateStore store(log);
    EXPECT_EQ(platform.calls, Calls{"CertOpenStore"});
}

TEST_F(CertificateStoreTest, failedOpeningThrowsTheBareErrorNumber) {
    platform.CertOpenStore = [&](auto...) {
        platform.lastError = 5;
        return nullptr;
    };
    try {
        const CertificateStore store(log);
        ADD_FAILURE() << "the store opened";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "5");
    }
    EXPECT_THAT(log.lines,
                ElementsAre(opening,
                            LogLine{Severity::Error, L"CertOpenStore failed with: 5 (text of 5)"}));
    EXPECT_EQ(platform.calls, (Calls{"CertOpenStore", "GetLastError"})); // nothing to close
}

TEST_F(CertificateStoreTest, errorNumberOfAFailedOpeningIsUnsigned) {
    platform.CertOpenStore = [&](auto...) {
        platform.lastError = static_cast<int>(0x80092004);
        return nullptr;
    };
    try {
        const CertificateStore store(log);
        ADD_FAILURE() << "the store opened";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "2148081668");
    }
}

TEST_F(CertificateStoreTest, closingChecksForLeaksAndIsLogged) {
    platform.CertCloseStore = [&](HCERTSTORE store, DWORD flags) {
        EXPECT_EQ(store, shelf.storeHandle);
        EXPECT_EQ(flags, 2U);
        return TRUE;
    };
    { const CertificateStore store(log); }
    EXPECT_THAT(log.lines, ElementsAre(opening, closed));
    EXPECT_EQ(platform.calls, (Calls{"CertOpenStore", "CertCloseStore"}));
}

TEST_F(CertificateStoreTest, closingWithACertificateStillHeldWarnsAfterTheClosedLine) {
    platform.CertCloseStore = [&](auto...) {
        platform.lastError = static_cast<int>(CRYPT_E_PENDING_CLOSE);
        return FALSE;
    };
    { const CertificateStore store(log); }
    EXPECT_THAT(log.lines,
                ElementsAre(opening, closed,
                            LogLine{Severity::Warning,
                                    L"On calling CertCloseStore, not all certs or contexts were "
                                    L"previously freed. Memory has been leaked."}));
}

TEST_F(CertificateStoreTest, otherFailuresOfClosingAreErrorLines) {
    platform.CertCloseStore = [&](auto...) {
        platform.lastError = 6;
        return FALSE;
    };
    { const CertificateStore store(log); }
    EXPECT_THAT(log.lines, ElementsAre(opening, closed,
                                       LogLine{Severity::Error,
                                               L"CertCloseStore failed with: 6 (text of 6)"}));
}

// A log may make system calls of its own; the store reads the error number after them.
TEST_F(CertificateStoreTest, errorOfClosingIsReadAfterTheClosedLine) {
    CallbackLog errorSetting;
    errorSetting.onLine = [&](auto&&...) { platform.lastError = 87; };
    platform.CertCloseStore = [&](auto...) {
        platform.lastError = static_cast<int>(CRYPT_E_PENDING_CLOSE);
        return FALSE;
    };
    { const CertificateStore store(errorSetting); }
    EXPECT_EQ(errorSetting.lines.back(),
              (LogLine{Severity::Error, L"CertCloseStore failed with: 87 (text of 87)"}));
}

TEST_F(CertificateStoreTest, closingNeverThrows) {
    CallbackLog failing;
    failing.onLine = [](Severity, const std::wstring& text) {
        if (text == L"Closed Cert Store") {
            throw std::runtime_error("the disk is full");
        }
    };
    { const CertificateStore store(failing); }
    EXPECT_EQ(platform.calls, (Calls{"CertOpenStore", "CertCloseStore"}));
}

TEST_F(CertificateStoreTest, searchByNameMatchesAnywhereInTheSubject) {
    platform.CertFindCertificateInStore = [&](HCERTSTORE store, DWORD encoding, DWORD flags,
                                              DWORD type, const void* parameter,
                                              PCCERT_CONTEXT previous) {
        EXPECT_EQ(store, shelf.storeHandle);
        EXPECT_EQ(encoding, 0x10001U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(type, 0x80007U);
        EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(parameter)), L"alpha");
        EXPECT_EQ(previous, nullptr);
        return nullptr;
    };
    EXPECT_TRUE(byName(L"alpha").empty());
}

// The platform compares the text; each of its results is a hit.
TEST_F(CertificateStoreTest, nameInsideALongerSubjectIsAHit) {
    const PCCERT_CONTEXT longer = shelf.make({L"alpha.example.test"});
    shelf.foundByName = {longer};
    EXPECT_THAT(byName(L"alpha"), ElementsAre(longer));
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"alpha"));
    EXPECT_TRUE(linesOfSearch.empty());
}

TEST_F(CertificateStoreTest, severalHitsComeInTheStoresOrder) {
    const PCCERT_CONTEXT first = shelf.make();
    const PCCERT_CONTEXT second = shelf.make();
    const PCCERT_CONTEXT third = shelf.make();
    shelf.foundByName = {third, first, second};
    EXPECT_THAT(byName(L"x"), ElementsAre(third, first, second));
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CertificateStoreTest, eachHitIsDuplicatedAndHandedBackToTheWalk) {
    const PCCERT_CONTEXT first = shelf.make();
    const PCCERT_CONTEXT second = shelf.make();
    shelf.foundByName = {first, second};
    byName(L"x");
    EXPECT_EQ(callsOfSearch, (Calls{"CertFindCertificateInStore", "CertDuplicateCertificateContext",
                                    "CertFindCertificateInStore", "CertDuplicateCertificateContext",
                                    "CertFindCertificateInStore", "CertFreeCertificateContext",
                                    "CertFreeCertificateContext"}));
}

TEST_F(CertificateStoreTest, missByNameIsAnErrorAndAnInfoLineAndNoException) {
    EXPECT_TRUE(byName(L"alpha").empty());
    EXPECT_THAT(
        linesOfSearch,
        ElementsAre(LogLine{Severity::Error, L"CertFindCertificateInStore (by name) failed with: "
                                             L"2148081668 (text of 2148081668)"},
                    LogLine{Severity::Info, L"Name searched for: [alpha]"}));
}

// Allocating memory may change the error number.
TEST_F(CertificateStoreTest, errorOfASearchIsReadBeforeMemoryIsAllocated) {
    const CertificateStore store(log);
    platform.calls.reserve(100);
    if (allocations() == 0) {
        GTEST_SKIP() << "allocations are not counted: valgrind replaces operator new";
    }
    long atMiss = 0;
    platform.CertFindCertificateInStore = [&](auto...) {
        atMiss = allocations();
        return nullptr;
    };
    platform.onGetLastError = [&] { EXPECT_EQ(allocations(), atMiss); };
    EXPECT_TRUE(store.findByName(std::wstring(100, L'n')).empty());
    EXPECT_TRUE(store.findByEnhancedKeyUsage(true).empty());
    EXPECT_NE(atMiss, 0);
}

TEST_F(CertificateStoreTest, searchByUsageAsksForOneIdentifier) {
    platform.CertFindCertificateInStore = [&](HCERTSTORE, DWORD encoding, DWORD flags, DWORD type,
                                              const void* parameter, PCCERT_CONTEXT) {
        EXPECT_EQ(encoding, 0x10001U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(type, 0xA0000U);
        EXPECT_EQ(static_cast<const CERT_ENHKEY_USAGE*>(parameter)->cUsageIdentifier, 1U);
        return nullptr;
    };
    EXPECT_TRUE(byUsage(true).empty());
}

TEST_F(CertificateStoreTest, usageIdentifiersAreThoseOfTheRoles) {
    byUsage(true);
    byUsage(false);
    EXPECT_THAT(shelf.usagesSearched, ElementsAre("1.3.6.1.5.5.7.3.1", "1.3.6.1.5.5.7.3.2"));
}

TEST_F(CertificateStoreTest, hitsByUsageComeInTheStoresOrderWithoutALine) {
    const PCCERT_CONTEXT first = shelf.make();
    const PCCERT_CONTEXT second = shelf.make();
    shelf.foundByUsage = {second, first};
    EXPECT_THAT(byUsage(false), ElementsAre(second, first));
    EXPECT_TRUE(linesOfSearch.empty());
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CertificateStoreTest, missByServerUsageNamesServerAuthentication) {
    byUsage(true);
    EXPECT_THAT(linesOfSearch,
                ElementsAre(LogLine{Severity::Error,
                                    L"CertFindCertificateInStore (by extended key usage) failed "
                                    L"with: 2148081668 (text of 2148081668)"},
                            LogLine{Severity::Info, L"EKU searched for: [Server Authentication]"}));
}

TEST_F(CertificateStoreTest, missByClientUsageNamesClientAuthentication) {
    byUsage(false);
    ASSERT_EQ(linesOfSearch.size(), 2U);
    EXPECT_EQ(linesOfSearch[1],
              (LogLine{Severity::Info, L"EKU searched for: [Client Authentication]"}));
}

} // namespace
} // namespace VexaSsl::test
