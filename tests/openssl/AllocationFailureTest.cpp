// Each allocation of OpenSSL's fails once while a chain is built and while a name is checked: what
// isn't trusted and what isn't permitted never passes.
#include "contract/stores/ChainFixture.h"
#include "openssl/CertificateFolderTest.h"
#include "openssl/OpenSslAllocations.h"
#include "platform/openssl/stores/NameConstraints.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <gtest/gtest.h>

#include <openssl/x509_vfy.h>

#include <cstdlib>

namespace VexaSsl::test {
namespace {

// Calls `use` with each of its allocations failing once.
template <class Use>
void failEachAllocationOf(Use use) {
    OpenSslAllocations::count = 0;
    use();
    const std::size_t total = OpenSslAllocations::count;
    EXPECT_GT(total, 0U);
    for (std::size_t position = 0; position < total; ++position) {
        SCOPED_TRACE(position);
        OpenSslAllocations::count = 0;
        OpenSslAllocations::failing = position;
        use();
        OpenSslAllocations::failing = OpenSslAllocations::none;
    }
}

// In a process that hasn't used OpenSSL.
template <class Test>
[[noreturn]] void runWithFailures(Test test) {
    EXPECT_TRUE(OpenSslAllocations::replace());
    test();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
}

void buildUntrustedChains() {
    const TemporaryCertificateFolder folder;
    const HeldContext leaf = contextOf(issue(serverNamed("leaf")));
    std::size_t refused = 0;
    failEachAllocationOf([&] {
        CERT_CHAIN_PARA parameters{};
        PCCERT_CHAIN_CONTEXT found = nullptr;
        if (!platform::CertGetCertificateChain(nullptr, leaf.get(), nullptr, nullptr, &parameters,
                                               0, nullptr, &found)) {
            EXPECT_EQ(platform::GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
            ++refused;
            return;
        }
        const HeldChain chain(found);
        EXPECT_NE(chain->TrustStatus.dwErrorStatus, 0U);
    });
    EXPECT_GT(refused, 0U);
}

void checkForbiddenName() {
    Recipe recipe = authorityNamed("inside only");
    recipe.permittedDnsName = "inside.test";
    const Issued issuer = issue(recipe);
    const Issued leaf = issue(serverNamed("*.test"), &issuer);
    const openssl::BorrowingStack chain =
        openssl::stackOf({leaf.certificate.get(), issuer.certificate.get()});
    std::size_t outOfMemory = 0;
    failEachAllocationOf([&] {
        const int error = openssl::constraintError("www.outside.test", chain.get());
        EXPECT_NE(error, X509_V_OK);
        outOfMemory += error == X509_V_ERR_OUT_OF_MEM ? 1 : 0;
    });
    EXPECT_GT(outOfMemory, 0U);
}

TEST(AllocationFailure, untrustedChainIsNeverTrusted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithFailures(buildUntrustedChains), testing::ExitedWithCode(0), "");
}

TEST(AllocationFailure, nameThatIsNotPermittedIsNeverAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithFailures(checkForbiddenName), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
