#include "fakes/GoodHandshake.h"

#include "config/Vocabulary.h"

namespace VexaSsl::test {

GoodHandshake::GoodHandshake() {
    config.setValue(ConfigurationDefinition::ConnectionOptions::ServerCertificateToSendName,
                    L"unit.test");
    serverCertificate = shelf.make({L"unit.test"}, L"unit test");
    shelf.foundByName = {serverCertificate};
    strategy.onRecv = receiveOneByte;
    scriptCredentials();
    scriptContexts();
}

GoodHandshake::~GoodHandshake() = default;

std::unique_ptr<SecureSocketRecord> GoodHandshake::makeRecord(bool isServer,
                                                              const std::wstring& target) {
    auto record =
        std::make_unique<SecureSocketRecord>(log, config, socket, strategy, isServer, target);
    strategy.onRecv = nullptr;
    clear();
    return record;
}

void GoodHandshake::clear() {
    log.lines.clear();
    platform.calls.clear();
    strategy.calls.clear();
    contextsDeleted = 0;
    credentialsFreed = 0;
}

int GoodHandshake::receiveOneByte(SOCKET, char* buffer, int, int) {
    *buffer = 'h';
    return 1;
}

void GoodHandshake::scriptCredentials() {
    platform.AcquireCredentialsHandleW = [this](wchar_t*, wchar_t*, ULONG, void*, void*,
                                                SEC_GET_KEY_FN, void*, CredHandle* made,
                                                TimeStamp*) {
        *made = credential;
        return SEC_E_OK;
    };
    platform.FreeCredentialsHandle = [this](CredHandle*) {
        ++credentialsFreed;
        return SEC_E_OK;
    };
}

void GoodHandshake::scriptContexts() {
    platform.InitializeSecurityContextW = [this](CredHandle*, CtxtHandle*, wchar_t*, ULONG, ULONG,
                                                 ULONG, SecBufferDesc*, ULONG, CtxtHandle* made,
                                                 SecBufferDesc*, ULONG* attributes, TimeStamp*) {
        *made = context;
        *attributes = ISC_RET_CONFIDENTIALITY;
        return SEC_E_OK;
    };
    platform.AcceptSecurityContext = [this](CredHandle*, CtxtHandle*, SecBufferDesc*, ULONG, ULONG,
                                            CtxtHandle* made, SecBufferDesc*, ULONG* attributes,
                                            TimeStamp*) {
        *made = context;
        *attributes = ASC_RET_CONFIDENTIALITY;
        return SEC_E_OK;
    };
    platform.QueryContextAttributesW = [this](CtxtHandle*, ULONG attribute, void* result) {
        if (attribute != SECPKG_ATTR_STREAM_SIZES) {
            return SEC_E_UNSUPPORTED_FUNCTION;
        }
        *static_cast<SecPkgContext_StreamSizes*>(result) = sizes;
        return SEC_E_OK;
    };
    platform.DeleteSecurityContext = [this](CtxtHandle*) {
        ++contextsDeleted;
        return SEC_E_OK;
    };
}

} // namespace VexaSsl::test
