// ListCertificates and SecureCommunication lead to the same credentials.
#include "config/Vocabulary.h"
#include "unit/secure/CredentialsFixture.h"

#include <gmock/gmock.h>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const wchar_t* const purposes[] = {L"SecureCommunication", L"ListCertificates"};

// No picker is scripted: asking the user fails the test.
struct CredentialsPurposeTest : CredentialsTest {
    // Makes credentials with each purpose; both must make the same calls and lines.
    void makeUnderEachPurpose(bool isServer) {
        std::vector<std::string> calls;
        std::vector<LogLine> lines;
        for (const wchar_t* purpose : purposes) {
            config.setValue(
                ConfigurationDefinition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
                purpose);
            platform.calls.clear();
            log.lines.clear();
            outcomes.push_back(failure(isServer));
            if (purpose == purposes[0]) {
                calls = platform.calls;
                lines = log.lines;
            }
            EXPECT_EQ(platform.calls, calls);
            EXPECT_EQ(log.lines, lines);
        }
    }

    std::vector<std::string> outcomes;
};

TEST_F(CredentialsPurposeTest, listingClientSendsNoneByDefault) {
    makeUnderEachPurpose(client);
    EXPECT_THAT(certificatesAcquired, ElementsAre(nullptr, nullptr));
    EXPECT_THAT(shelf.namesSearched, IsEmpty());
}

TEST_F(CredentialsPurposeTest, listingClientSendsTheOneWithTheName) {
    const PCCERT_CONTEXT named = shelf.make();
    shelf.foundByName = {shelf.make(), named};
    clientSends(L"alpha");
    makeUnderEachPurpose(client);
    EXPECT_THAT(certificatesAcquired, ElementsAre(named, named));
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"alpha", L"alpha"));
}

TEST_F(CredentialsPurposeTest, listingClientSendsAnySuitableOne) {
    const PCCERT_CONTEXT last = shelf.make();
    shelf.foundByUsage = {shelf.make(), last};
    clientSends(L"Any");
    makeUnderEachPurpose(client);
    EXPECT_THAT(certificatesAcquired, ElementsAre(last, last));
}

TEST_F(CredentialsPurposeTest, listingServerSendsTheOneWithTheName) {
    const PCCERT_CONTEXT named = shelf.make();
    shelf.foundByName = {named};
    serverSends(L"alpha");
    makeUnderEachPurpose(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(named, named));
    EXPECT_THAT(usesAcquired, ElementsAre(ULONG{SECPKG_CRED_INBOUND}, ULONG{SECPKG_CRED_INBOUND}));
}

TEST_F(CredentialsPurposeTest, listingServerSendsAnySuitableOneByDefault) {
    const PCCERT_CONTEXT own = shelf.make({L"host.unit.test"});
    shelf.foundByName = {own};
    shelf.foundByUsage = {own};
    makeUnderEachPurpose(server);
    EXPECT_THAT(certificatesAcquired, ElementsAre(own, own));
    EXPECT_THAT(shelf.namesSearched, ElementsAre(L"host.unit.test", L"host.unit.test"));
}

TEST_F(CredentialsPurposeTest, listingServerWithoutASuitableOneFailsInTheSameWay) {
    makeUnderEachPurpose(server);
    EXPECT_THAT(outcomes, ElementsAre("no default certificate", "no default certificate"));
}

} // namespace
} // namespace VexaSsl::test
