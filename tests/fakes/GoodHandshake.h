// What a SecureSocketRecord needs for a handshake that succeeds, in both roles: log, scripted
// platform, strategy below, certificates and options. A test may change any of it.
//
// The client's first call completes the handshake; the server receives one byte, then its first
// call does. The server finds a certificate by name.
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
    static constexpr SOCKET socket = 5'000'000'000; // doesn't fit into 32 bits

    GoodHandshake();
    ~GoodHandshake();

    // Returns a record after its handshake. Lines and calls are cleared and the strategy below is
    // no longer scripted.
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
