// A connection whose handshake succeeds at once, in both roles: log, scripted platform, strategy
// below, certificates and options, ready to build a SecureSocketRecord from or to be changed in one
// place by a test.
//
// The client is done with its first call; the server receives one byte and is done with its first
// call too. Certificates: the server finds one by name.
#pragma once

#include "config/SslConfig.h"
#include "config/Vocabulary.h"
#include "fakes/CertificateShelf.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/ScriptedStrategy.h"
#include "secure/SecureSocketRecord.h"

#include <memory>
#include <string>

namespace VexaSsl::test {

class GoodHandshake {
public:
    static constexpr SOCKET socket = 4711;

    GoodHandshake() {
        config.setValue(ConfigurationDefinition::ConnectionOptions::ServerCertificateToSendName,
                        L"unit.test");
        serverCertificate = shelf.make({L"unit.test"}, L"unit test");
        shelf.foundByName = {serverCertificate};
        strategy.onRecv = receiveOneByte;
        scriptCredentials();
        scriptContexts();
    }

    // A record with its handshake behind it. What the making logged and called is cleared, and the
    // strategy below has no script any more.
    std::unique_ptr<SecureSocketRecord> makeRecord(bool isServer,
                                                   const std::wstring& target = L"peer.test") {
        auto record =
            std::make_unique<SecureSocketRecord>(log, config, socket, strategy, isServer, target);
        strategy.onRecv = nullptr;
        clear();
        return record;
    }

    void clear() {
        log.lines.clear();
        platform.calls.clear();
        strategy.calls.clear();
        contextsDeleted = 0;
        credentialsFreed = 0;
    }

    static int receiveOneByte(SOCKET, char* buffer, int, int) {
        *buffer = 'h';
        return 1;
    }

    CollectingLog log;
    ScriptedPlatform platform;
    CertificateShelf shelf{platform};
    ScriptedStrategy strategy;
    SslConfig config{log, L"unit test"};
    SecPkgContext_StreamSizes sizes{5, 32, 16384, 4, 16};
    CtxtHandle context{0x11, 0x22};
    CredHandle credential{0x33, 0x44};
    PCCERT_CONTEXT serverCertificate = nullptr;
    int contextsDeleted = 0;
    int credentialsFreed = 0;

private:
    void scriptCredentials() {
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

    void scriptContexts() {
        platform.InitializeSecurityContextW =
            [this](CredHandle*, CtxtHandle*, wchar_t*, ULONG, ULONG, ULONG, SecBufferDesc*, ULONG,
                   CtxtHandle* made, SecBufferDesc*, ULONG* attributes, TimeStamp*) {
                *made = context;
                *attributes = ISC_RET_CONFIDENTIALITY;
                return SEC_E_OK;
            };
        platform.AcceptSecurityContext = [this](CredHandle*, CtxtHandle*, SecBufferDesc*, ULONG,
                                                ULONG, CtxtHandle* made, SecBufferDesc*,
                                                ULONG* attributes, TimeStamp*) {
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
};

} // namespace VexaSsl::test
