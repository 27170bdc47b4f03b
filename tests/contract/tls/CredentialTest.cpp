// Credentials, the list of packages and invalid handles.
#include "contract/support/ContractTest.h"
#include "contract/support/System.h"
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>

namespace VexaSsl::test {
namespace {

class Credentials : public ContractTest {
protected:
    const ScopedCertificates certificates;
};

struct AcquiredCase {
    const char* name;
    ULONG use;
    const char* certificate; // empty: no certificate

    friend void PrintTo(const AcquiredCase& tested, std::ostream* out) { *out << tested.name; }
};

class AcquiredCredentials : public Credentials,
                            public ::testing::WithParamInterface<AcquiredCase> {};

TEST_P(AcquiredCredentials, credentialsAreAcquired) {
    CredHandle handle{};
    SECURITY_STATUS status = SEC_E_OK;
    if (const std::string name = GetParam().certificate; name.empty()) {
        status = acquire(GetParam().use, nullptr, handle);
    } else {
        const StoreCertificate certificate(name);
        status = acquire(GetParam().use, certificate.get(), handle);
    }
    ASSERT_EQ(status, SEC_E_OK) << reasonOfSecurityFailure();
    EXPECT_EQ(platform::FreeCredentialsHandle(&handle), SEC_E_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Credentials, AcquiredCredentials,
    ::testing::Values(AcquiredCase{"client", SECPKG_CRED_OUTBOUND, ""},
                      AcquiredCase{"clientWithRsa", SECPKG_CRED_OUTBOUND, "server-rsa"},
                      AcquiredCase{"clientWithEcdsa", SECPKG_CRED_OUTBOUND, "server-ecdsa"},
                      AcquiredCase{"serverWithRsa", SECPKG_CRED_INBOUND, "server-rsa"},
                      AcquiredCase{"serverWithEcdsa", SECPKG_CRED_INBOUND, "server-ecdsa"}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(Credentials, serverNeedsCertificate) {
    CredHandle handle{};
    EXPECT_EQ(acquire(SECPKG_CRED_INBOUND, nullptr, handle), SEC_E_NO_CREDENTIALS)
        << reasonOfSecurityFailure();
    EXPECT_EQ(handle.dwLower, 0U);
}

TEST_F(Credentials, credentialsOutliveTheCertificate) {
    CredHandle handle{};
    {
        const StoreCertificate certificate("server-ecdsa");
        ASSERT_EQ(acquire(SECPKG_CRED_INBOUND, certificate.get(), handle), SEC_E_OK);
    }
    EXPECT_EQ(platform::FreeCredentialsHandle(&handle), SEC_E_OK);
}

TEST_F(Credentials, contextsOutliveTheCredentials) {
    Side client = Side::client();
    Side server = Side::server();
    runHandshake(client, server);
    platform::FreeCredentialsHandle(client.credential.get());
    platform::FreeCredentialsHandle(server.credential.get());
    *client.credential.get() = {};
    *server.credential.get() = {};
    EXPECT_EQ(server.openAll(client.protect("still here")), "still here");
}

TEST_F(Credentials, unknownPackageIsNotFound) {
    wchar_t package[] = L"no such package";
    SCHANNEL_CRED request{};
    request.dwVersion = SCHANNEL_CRED_VERSION;
    CredHandle handle{};
    EXPECT_EQ(platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr,
                                                  &request, nullptr, nullptr, &handle, nullptr),
              SEC_E_SECPKG_NOT_FOUND);
}

using Packages = Credentials;

TEST_F(Packages, packageIsListedWithBothNames) {
    ULONG count = 0;
    SecPkgInfoW* packages = nullptr;
    ASSERT_EQ(platform::EnumerateSecurityPackagesW(&count, &packages), SEC_E_OK);
    std::set<std::wstring> names;
    for (ULONG i = 0; i < count; ++i) {
        names.insert(packages[i].Name);
    }
    EXPECT_EQ(platform::FreeContextBuffer(packages), SEC_E_OK);
    EXPECT_TRUE(names.contains(L"Schannel"));
    EXPECT_TRUE(names.contains(L"Microsoft Unified Security Protocol Provider"));
}

using Handles = Credentials;

TEST_F(Handles, deletedContextIsInvalidHandle) {
    Side client = Side::client();
    client.step();
    const CtxtHandle stale = *client.context();
    EXPECT_EQ(platform::DeleteSecurityContext(client.context()), SEC_E_OK);
    expectVoidContext(stale);
    EXPECT_EQ(client.step(Bytes{22}).status, SEC_E_INVALID_HANDLE);
    *client.context() = {};
}

TEST_F(Handles, freedCredentialsCannotBeFreedAgain) {
    CredHandle handle{};
    ASSERT_EQ(acquire(SECPKG_CRED_OUTBOUND, nullptr, handle), SEC_E_OK);
    CredHandle again = handle;
    ASSERT_EQ(platform::FreeCredentialsHandle(&handle), SEC_E_OK);
    EXPECT_EQ(platform::FreeCredentialsHandle(&again), SEC_E_INVALID_HANDLE);
}

TEST_F(Handles, freeingNullIsHarmless) {
    EXPECT_EQ(platform::FreeContextBuffer(nullptr), SEC_E_OK);
}

} // namespace
} // namespace VexaSsl::test
