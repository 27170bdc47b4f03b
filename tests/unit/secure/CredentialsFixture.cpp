#include "unit/secure/CredentialsFixture.h"

#include "config/Vocabulary.h"

#include <cwchar>
#include <stdexcept>

namespace VexaSsl::test {

CredentialsTest::CredentialsTest() {
    platform.AcquireCredentialsHandleW = [this](wchar_t*, wchar_t*, ULONG use, void*,
                                                void* authData, SEC_GET_KEY_FN, void*,
                                                CredHandle* made, TimeStamp*) {
        const auto* description = static_cast<const SCHANNEL_CRED*>(authData);
        usesAcquired.push_back(use);
        certificatesAcquired.push_back(description->paCred[0]);
        *made = {7, 8};
        return SEC_E_OK;
    };
    platform.FreeCredentialsHandle = [](CredHandle* freed) {
        EXPECT_EQ(freed->dwLower, 7U);
        EXPECT_EQ(freed->dwUpper, 8U);
        return SEC_E_OK;
    };
    scriptComputerName(L"host.unit.test");
}

CredentialsTest::~CredentialsTest() = default;

void CredentialsTest::scriptComputerName(const std::wstring& name) {
    platform.GetComputerNameExW = [name](COMPUTER_NAME_FORMAT format, wchar_t* buffer,
                                         DWORD* size) {
        EXPECT_EQ(format, 3);
        const DWORD needed = static_cast<DWORD>(name.size() + 1);
        if (buffer == nullptr) {
            EXPECT_EQ(*size, 0U);
            *size = needed;
            return FALSE;
        }
        EXPECT_EQ(*size, needed);
        std::wmemcpy(buffer, name.c_str(), needed);
        *size = needed - 1;
        return TRUE;
    };
}

void CredentialsTest::serverSends(const std::wstring& name) {
    config.setValue(ConfigurationDefinition::ConnectionOptions::ServerCertificateToSendName, name);
}

void CredentialsTest::clientSends(const std::wstring& name) {
    config.setValue(ConfigurationDefinition::ConnectionOptions::ClientCertificateToSendName, name);
}

void CredentialsTest::askTheUser() {
    config.setValue(ConfigurationDefinition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
                    L"SelectCertificateFromUI");
}

void CredentialsTest::userPicks(PCCERT_CONTEXT certificate) {
    askTheUser();
    shelf.userPicks(certificate);
}

void CredentialsTest::refuseToAcquire(SECURITY_STATUS status) {
    platform.AcquireCredentialsHandleW = [=](auto...) { return status; };
}

std::unique_ptr<ChannelCredentials> CredentialsTest::make(bool isServer,
                                                          ISelectionObserver* observer) {
    options = std::make_unique<SecureChannelOptions>(log, config);
    return std::make_unique<ChannelCredentials>(log, isServer, *options, observer);
}

std::string CredentialsTest::failure(bool isServer) {
    try {
        make(isServer);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace VexaSsl::test
