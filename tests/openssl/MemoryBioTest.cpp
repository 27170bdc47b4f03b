// The BIO of a connection: reads from the caller's bytes, and writes to an output that may fail.
#include "platform/openssl/tls/MemoryBio.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <string>

namespace VexaSsl::test {
namespace {

using namespace openssl;

class MemoryBioTest : public ::testing::Test {
protected:
    MemoryBio memory;
    const BioPointer bio = memory.makeBio();
};

TEST_F(MemoryBioTest, writesAreAppendedToTheOutput) {
    Token token;
    memory.setOutput(&token);
    EXPECT_EQ(BIO_write(bio.get(), "abc", 3), 3);
    EXPECT_EQ(BIO_write(bio.get(), "de", 2), 2);
    EXPECT_EQ(std::string(token.bytes().begin(), token.bytes().end()), "abcde");
    std::free(token.release());
    EXPECT_EQ(token.size(), 0U);
    EXPECT_EQ(token.release(), nullptr);
}

TEST(Token, writeThatDoesNotFitIntoMemoryFails) {
#ifdef VEXASSL_UNDER_SANITIZER
    GTEST_SKIP() << "the sanitizer refuses so large an allocation";
#endif
    const unsigned char bytes[] = {1};
    volatile std::size_t tooLarge = std::numeric_limits<std::ptrdiff_t>::max();
    Token token;
    ASSERT_TRUE(token.write(bytes));
    EXPECT_FALSE(token.write({bytes, tooLarge}));
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), ERR_R_MALLOC_FAILURE);
    EXPECT_EQ(token.size(), 1U);
}

TEST_F(MemoryBioTest, withoutOutputWritesAreDiscarded) {
    EXPECT_EQ(BIO_write(bio.get(), "abc", 3), 3);
}

TEST_F(MemoryBioTest, failedOutputFailsTheWrite) {
    struct : BioOutput {
        bool write(ByteView) noexcept override { return false; }
    } failing;
    memory.setOutput(&failing);
    EXPECT_LE(BIO_write(bio.get(), "abc", 3), 0);
    EXPECT_FALSE(BIO_should_retry(bio.get()));
}

TEST_F(MemoryBioTest, readsAreRetriedAfterTheEndOfTheInput) {
    const unsigned char bytes[] = {1, 2, 3};
    unsigned char buffer[8] = {};
    memory.setInput(bytes);
    EXPECT_EQ(BIO_read(bio.get(), buffer, 2), 2);
    EXPECT_EQ(memory.unread(), 1U);
    EXPECT_EQ(BIO_read(bio.get(), buffer, 8), 1);
    EXPECT_EQ(buffer[0], 3);
    EXPECT_FALSE(BIO_should_retry(bio.get()));
    std::size_t count = 0;
    EXPECT_EQ(BIO_read_ex(bio.get(), buffer, 8, &count), 0);
    EXPECT_TRUE(BIO_should_read(bio.get()));
    EXPECT_LE(BIO_write(bio.get(), "abc", 3), 3);
    EXPECT_FALSE(BIO_should_retry(bio.get()));
}

TEST_F(MemoryBioTest, bioIsSourceAndSink) {
    EXPECT_TRUE(BIO_method_type(bio.get()) & BIO_TYPE_SOURCE_SINK);
}

TEST_F(MemoryBioTest, onlyFlushIsSupported) {
    EXPECT_EQ(BIO_flush(bio.get()), 1);
    EXPECT_EQ(BIO_reset(bio.get()), 0);
}

} // namespace
} // namespace VexaSsl::test
