#include "fakes/SecureConnection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

class SecureSocketRecordLife : public testing::Test {
protected:
    SecureSocketRecordLife() { stage.make(); }
    std::unique_ptr<SecureSocketRecord> makeRecord(bool serverRole = false) {
        return std::make_unique<SecureSocketRecord>(stage.log, stage.config,
                                                    test::SecureStage<>::connection, *stage.lower,
                                                    serverRole, L"peer");
    }
    std::vector<std::string> callsOf(const std::vector<std::string>& names) {
        std::vector<std::string> found;
        for (const std::string& call : stage.platform.calls) {
            if (std::find(names.begin(), names.end(), call) != names.end()) {
                found.push_back(call);
            }
        }
        return found;
    }

    test::SecureStage<> stage;
};

TEST_F(SecureSocketRecordLife, buffersAreEmptyAfterTheHandshake) {
    const auto record = makeRecord();
    EXPECT_FALSE(record->incompleteRecord);
    EXPECT_TRUE(record->cipherBytes().empty());
    EXPECT_TRUE(record->plainBytes().empty());
    EXPECT_TRUE(record->securityContext.isPresent());
    EXPECT_EQ(record->targetName, L"peer");
    EXPECT_EQ(record->socket, test::SecureStage<>::connection);
    EXPECT_EQ(&record->underlyingStrategy, stage.lower);
    EXPECT_FALSE(record->isServer);
}

TEST_F(SecureSocketRecordLife, credentialsAreAcquiredThenHandshakeThenSizes) {
    const auto record = makeRecord();
    EXPECT_EQ(callsOf({"CertOpenStore", "AcquireCredentialsHandleW", "InitializeSecurityContextW",
                       "QueryContextAttributesW"}),
              (std::vector<std::string>{"CertOpenStore", "AcquireCredentialsHandleW",
                                        "InitializeSecurityContextW", "QueryContextAttributesW"}));
}

TEST_F(SecureSocketRecordLife, badOptionEndsItBeforeCredentials) {
    stage.config.setValue(L"RequireClientAuthentication", L"Yes");
    EXPECT_THROW(makeRecord(), std::out_of_range);
    EXPECT_TRUE(callsOf({"CertOpenStore"}).empty());
}

TEST_F(SecureSocketRecordLife, serverRoleRunsTheServersHandshake) {
    stage.arrive("hello");
    const auto record = makeRecord(true);
    EXPECT_TRUE(record->isServer);
    EXPECT_EQ(callsOf({"InitializeSecurityContextW", "AcceptSecurityContext"}),
              (std::vector<std::string>{"AcceptSecurityContext"}));
}

TEST_F(SecureSocketRecordLife, credentialsAreReleasedBeforeTheContext) {
    auto record = makeRecord();
    stage.platform.calls.clear();
    record.reset();
    EXPECT_EQ(callsOf({"FreeCredentialsHandle", "CertCloseStore", "DeleteSecurityContext"}),
              (std::vector<std::string>{"FreeCredentialsHandle", "CertCloseStore",
                                        "DeleteSecurityContext"}));
}

TEST_F(SecureSocketRecordLife, failedQueryOfSizesReleasesWhatWasMade) {
    stage.cipher.sizesStatus = SEC_E_INTERNAL_ERROR;
    EXPECT_THROW(makeRecord(), std::runtime_error);
    EXPECT_EQ(stage.deleted, (std::vector<ULONG_PTR>{1}));
    EXPECT_EQ(callsOf({"FreeCredentialsHandle", "DeleteSecurityContext"}).size(), 2U);
}

TEST(SecurityContext, emptyOneIsNotDeleted) {
    test::ScriptedPlatform platform;
    { const SecurityContext context; }
    EXPECT_TRUE(platform.calls.empty());
}

TEST(SecurityContext, oneNonZeroWordIsEnoughToBeDeleted) {
    test::ScriptedPlatform platform;
    int deleted = 0;
    platform.DeleteSecurityContext = [&](CtxtHandle*) {
        ++deleted;
        return SEC_E_OK;
    };
    {
        SecurityContext low;
        low.address()->dwLower = 1;
        SecurityContext high;
        high.address()->dwUpper = 1;
    }
    EXPECT_EQ(deleted, 2);
}

TEST(SecurityContext, movedOneIsDeletedOnceAndReplacesTheOther) {
    test::ScriptedPlatform platform;
    std::vector<ULONG_PTR> deleted;
    platform.DeleteSecurityContext = [&](CtxtHandle* context) {
        deleted.push_back(context->dwLower);
        return SEC_E_OK;
    };
    {
        SecurityContext first;
        first.address()->dwLower = 1;
        SecurityContext second;
        second.address()->dwLower = 2;
        first = std::move(second);
        EXPECT_EQ(deleted, (std::vector<ULONG_PTR>{1}));
        const SecurityContext third(std::move(first));
        EXPECT_EQ(deleted.size(), 1U);
    }
    EXPECT_EQ(deleted, (std::vector<ULONG_PTR>{1, 2}));
}

} // namespace
} // namespace VexaSsl
