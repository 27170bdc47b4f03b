#include "certificates/CertificateHandle.h"

#include "fakes/CertificateShelf.h"

#include <type_traits>

namespace VexaSsl::test {
namespace {

static_assert(!std::is_copy_constructible_v<CertificateHandle>);
static_assert(std::is_nothrow_move_constructible_v<CertificateHandle>);

struct CertificateHandleTest : testing::Test {
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
};

TEST_F(CertificateHandleTest, referenceIsReleasedOnce) {
    const PCCERT_CONTEXT certificate = shelf.make();
    {
        CertificateHandle first(shelf.addReference(certificate));
        const CertificateHandle second(std::move(first));
        EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): what a move leaves is the question
        EXPECT_EQ(second.get(), certificate);
    }
    EXPECT_EQ(platform.calls, std::vector<std::string>{"CertFreeCertificateContext"});
    EXPECT_EQ(shelf.held(), 0);
}

TEST_F(CertificateHandleTest, emptyHandleReleasesNothing) {
    {
        const CertificateHandle none;
        const CertificateHandle null(nullptr);
        EXPECT_FALSE(none);
        EXPECT_FALSE(null);
    }
    EXPECT_TRUE(platform.calls.empty());
}

} // namespace
} // namespace VexaSsl::test
