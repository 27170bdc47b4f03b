// A connection whose handshake succeeds at once, in both roles: log, scripted platform, strategy
// below, certificates and options, ready to build a SecureSocketRecord from or to be changed in one
// place by a test.
//
// The client is done with its first call; the server receives one byte and is done with its first
// call too. Certificates: the server finds one by name.
#pragma once

#include "config/SslConfig.h"
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

    GoodHandshake();
    ~GoodHandshake();

    // A record with its handshake behind it. What the making logged and called is cleared, and the
    // strategy below has no script any more.
    std::unique_ptr<SecureSocketRecord> makeRecord(bool isServer,
                                                   const std::wstring& target = L"peer.test");

    void clear();

    static int receiveOneByte(SOCKET, char* buffer, int, int);

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
    void scriptCredentials();

    void scriptContexts();
};

} // namespace VexaSsl::test
