// The status and the readable reason of an OpenSSL failure.
#include "VexaPlatform/SecurityFailure.h"
#include "CertificateFolderTest.h"
#include "contract/tls/Side.h"
#include "platform/contract/SecuritySupport.h"
#include "platform/openssl/stores/CertificateObject.h"
#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/SourceFile.h"
#include "platform/openssl/tls/PackageCall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <openssl/err.h>
#include <openssl/evp.h>

#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace VexaSsl::test {
namespace {

using openssl::packageCall;
using openssl::throwFailure;
using platform::lastSecurityFailure;
using ::testing::StartsWith;

struct RaisedError {
    int library;
    int reason;
    const char* data = "";
};

struct FailureCase {
    const char* name;
    std::vector<RaisedError> queue; // oldest first
    SECURITY_STATUS status;
    const char* reason;

    friend void PrintTo(const FailureCase& tested, std::ostream* out) { *out << tested.name; }
};

class FailedCall : public ::testing::TestWithParam<FailureCase> {};

TEST_P(FailedCall, failedCallGivesItsStatusAndTheFirstError) {
    const SECURITY_STATUS status = packageCall([]() -> SECURITY_STATUS {
        for (const RaisedError& error : GetParam().queue) {
            ERR_raise_data(error.library, error.reason, "%s", error.data);
        }
        throwFailure("EVP_KDF_derive");
    });
    EXPECT_EQ(status, GetParam().status);
    EXPECT_EQ(lastSecurityFailure(), GetParam().reason);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    SecurityFailure, FailedCall,
    ::testing::Values(
        FailureCase{
            "outOfMemory", {{ERR_LIB_EVP, ERR_R_MALLOC_FAILURE}}, SEC_E_INSUFFICIENT_MEMORY, ""},
        FailureCase{"outOfMemoryInside",
                    {{ERR_LIB_CRYPTO, ERR_R_MALLOC_FAILURE}, {ERR_LIB_EVP, ERR_R_INTERNAL_ERROR}},
                    SEC_E_INSUFFICIENT_MEMORY,
                    ""},
        FailureCase{"outOfMemoryAfterAnotherError",
                    {{ERR_LIB_EVP, ERR_R_UNSUPPORTED}, {ERR_LIB_CRYPTO, ERR_R_MALLOC_FAILURE}},
                    SEC_E_INSUFFICIENT_MEMORY,
                    ""},
        FailureCase{"another",
                    {{ERR_LIB_EVP, ERR_R_UNSUPPORTED}},
                    SEC_E_INTERNAL_ERROR,
                    "EVP_KDF_derive: error:0308010C:digital envelope routines::unsupported"},
        FailureCase{"severalWithData",
                    {{ERR_LIB_EVP, ERR_R_UNSUPPORTED, "Algorithm (MD5)"},
                     {ERR_LIB_CRYPTO, ERR_R_INTERNAL_ERROR, "later"}},
                    SEC_E_INTERNAL_ERROR,
                    "EVP_KDF_derive: error:0308010C:digital envelope routines::unsupported "
                    "(Algorithm (MD5))"},
        FailureCase{"withoutAnyError",
                    {},
                    SEC_E_INTERNAL_ERROR,
                    "EVP_KDF_derive: OpenSSL gives no reason"}),
    [](const auto& tested) { return tested.param.name; });

// Makes OpenSSL offer no algorithms while it lives: no provider has this property.
class NoAlgorithms {
public:
    NoAlgorithms() { EVP_set_default_properties(nullptr, "made=nowhere"); }
    ~NoAlgorithms() { EVP_set_default_properties(nullptr, ""); }
    NoAlgorithms(const NoAlgorithms&) = delete;
    NoAlgorithms& operator=(const NoAlgorithms&) = delete;
};

// A separate folder, so that no SSL context of another test is cached.
class SecurityFailure : public CertificateFolderTest {
protected:
    static SECURITY_STATUS acquireClient() {
        CredHandle handle{};
        const SECURITY_STATUS status = acquire(SECPKG_CRED_OUTBOUND, nullptr, handle);
        platform::FreeCredentialsHandle(&handle);
        return status;
    }

    SecurityFailure() {
        openssl::trustStore(); // caches the system's bundle, which is read with algorithms
        const NoAlgorithms now;
        statusWithoutAlgorithms = acquireClient();
    }

    SECURITY_STATUS statusWithoutAlgorithms = SEC_E_OK;
};

TEST_F(SecurityFailure, failureIsInternalErrorAndNamesTheCall) {
    EXPECT_EQ(statusWithoutAlgorithms, SEC_E_INTERNAL_ERROR);
    EXPECT_THAT(lastSecurityFailure(), StartsWith("SSL_CTX_new: error:"));
}

TEST(FailureText, dataThatIsNoTextIsLeftOut) {
    ERR_raise(ERR_LIB_USER, 7);
    ERR_set_error_data(OPENSSL_strdup("data"), ERR_TXT_MALLOCED);
    openssl::recordFailure("call");
    ERR_clear_error();
    EXPECT_THAT(lastSecurityFailure(), ::testing::Not(::testing::HasSubstr("data")));
    openssl::clearFailure();
}

TEST_F(SecurityFailure, failureIsKeptPerThread) {
    std::string elsewhere = "unread";
    std::thread([&elsewhere] { elsewhere = lastSecurityFailure(); }).join();
    EXPECT_EQ(elsewhere, "");
}

TEST_F(SecurityFailure, acquiringCredentialsClearsTheFailure) {
    EXPECT_EQ(acquireClient(), SEC_E_OK);
    EXPECT_EQ(lastSecurityFailure(), "");
}

TEST_F(SecurityFailure, beginningHandshakeClearsTheFailure) {
    CtxtHandle handle{};
    platform::InitializeSecurityContextW(nullptr, nullptr, nullptr, 0, 0, 0, nullptr, 0, &handle,
                                         nullptr, nullptr, nullptr);
    EXPECT_EQ(lastSecurityFailure(), "");
}

TEST(SourceFile, contentWhoseDigestFailsCountsAsChanged) {
    openssl::FileContents file;
    file.outcome = openssl::FileOutcome::read;
    const NoAlgorithms now;
    EXPECT_FALSE(openssl::sourceOf(file).hasContentOf(openssl::sourceOf(file)));
    EXPECT_EQ(ERR_peek_error(), 0U);
}

} // namespace
} // namespace VexaSsl::test
