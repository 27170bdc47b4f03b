// Handshakes without server validation, with which the tool inspects a chain that validation
// refuses.
#include "contract/support/ContractTest.h"
#include "contract/support/TestCertificates.h"
#include "contract/tls/Side.h"

#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

class ManualValidation : public ContractTest {
protected:
    // A client whose credential leaves the validation to its caller.
    static Side lenientClient(const std::wstring& target = L"localhost",
                              ULONG requirements = clientRequirements) {
        Side client = Side::client(target, "", requirements);
        platform::FreeCredentialsHandle(client.credential.get());
        SCHANNEL_CRED description{};
        description.dwVersion = SCHANNEL_CRED_VERSION;
        description.dwFlags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS;
        wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
        TimeStamp expiry{};
        EXPECT_EQ(platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND,
                                                      nullptr, &description, nullptr, nullptr,
                                                      client.credential.get(), &expiry),
                  SEC_E_OK);
        return client;
    }

    static SECURITY_STATUS askForCertificate(Side& side) {
        PCCERT_CONTEXT certificate = nullptr;
        const SECURITY_STATUS status = platform::QueryContextAttributesW(
            side.context(), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &certificate);
        EXPECT_EQ(certificate != nullptr, status == SEC_E_OK);
        platform::CertFreeCertificateContext(certificate);
        return status;
    }

    const ScopedCertificates certificates;
};

TEST_F(ManualValidation, serversThatValidationRefusesAreAccepted) {
    for (const char* name : {"expired", "untrusted", "self-signed", "wrong-name", "wrong-usage"}) {
        Side client = lenientClient();
        Side server = Side::server(name);
        runHandshake(client, server);
        EXPECT_EQ(client.status(), SEC_E_OK) << name;
        EXPECT_EQ(askForCertificate(client), SEC_E_OK) << name;
    }
}

TEST_F(ManualValidation, otherCredentialsStayStrict) {
    Side lenient = lenientClient();
    Side first = Side::server("expired");
    runHandshake(lenient, first);
    Side strict = Side::client();
    Side second = Side::server("expired");
    runHandshake(strict, second);
    EXPECT_EQ(strict.status(), SEC_E_CERT_EXPIRED);
    Side third = lenientClient();
    Side fourth = Side::server("expired");
    runHandshake(third, fourth);
    EXPECT_EQ(third.status(), SEC_E_OK);
}

} // namespace
} // namespace VexaSsl::test
