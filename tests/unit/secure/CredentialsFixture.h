// Fixture for ChannelCredentials: a platform that acquires any credential, scripted certificates,
// the options, and the lines that most tests expect.
#pragma once

#include "config/SecureChannelOptions.h"
#include "config/SslConfig.h"
#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"
#include "secure/ChannelCredentials.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

inline const LogLine opening{Severity::Debug, L"Opening Cert Store"};
inline const LogLine closed{Severity::Debug, L"Closed Cert Store"};
inline const LogLine succeeded{Severity::Debug, L"AcquireCredentialsHandle succeeded"};

inline constexpr bool server = true;
inline constexpr bool client = false;

struct SelectionObserver : ISelectionObserver {
    MOCK_METHOD(void, chosen, (PCCERT_CONTEXT), (override));
    MOCK_METHOD(void, passedOver, (PCCERT_CONTEXT, PassedOver), (override));
};

struct CredentialsTest : testing::Test {
    CredentialsTest();
    ~CredentialsTest() override;

    void scriptComputerName(const std::wstring& name);

    void serverSends(const std::wstring& name);
    void clientSends(const std::wstring& name);
    void askTheUser();
    void userPicks(PCCERT_CONTEXT certificate);
    void refuseToAcquire(SECURITY_STATUS status);

    std::unique_ptr<ChannelCredentials> make(bool isServer, ISelectionObserver* observer = nullptr);

    // The text of the exception that the construction throws.
    std::string failure(bool isServer);

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    SslConfig config{log, L"unit test"};
    std::unique_ptr<SecureChannelOptions> options;
    std::vector<ULONG> usesAcquired;
    std::vector<PCCERT_CONTEXT> certificatesAcquired;
};

} // namespace VexaSsl::test
