// What the library keeps about one secured connection: the security context, the credentials that
// made it, and the bytes that are on their way.
//
// A record exists only with a finished handshake: the constructor runs it, on the calling thread,
// and throws when it fails. The log, the configuration's content and the strategy below belong to
// the SecureSocketStrategy that owns the record and outlive it.
//
// Threads: one sender (encryptRecord) and one receiver (everything else) at a time. A sender reads
// streamSizes and securityContext and writes sendBuffer; a receiver works on incompleteRecord,
// cipherBytes, plainBytes and receiveBuffer.
//
// What may hold plaintext is overwritten before it is freed: cipherBytes too, since decryption
// works in place. receiveBuffer never does.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"
#include "config/SecureChannelOptions.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/SecurityContext.h"
#include "secure/WipingAllocator.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl {

class ChannelCredentials;

// The sizes in bytes that the negotiated cipher suite dictates.
struct StreamSizes {
    // Allocates the zeroed block; the sizes stay 0 until it has been filled.
    StreamSizes(ILog& logSink, CtxtHandle* context);

    ILog& log;
    CtxtHandle* securityContext; // the record's
    std::unique_ptr<SecPkgContext_StreamSizes> block;
    DWORD recordSize = 0; // headerSize + maximumMessageSize + trailerSize
    DWORD headerSize = 0;
    DWORD maximumMessageSize = 0; // the most plaintext that fits one protected message
    DWORD trailerSize = 0;
    DWORD overheadSize = 0; // headerSize + trailerSize
};

class SecureSocketRecord {
public:
    // Runs the handshake of the role; target is the host to authenticate (client) or the peer's
    // name (server, may be empty). Throws std::out_of_range("invalid configuration") for a bad
    // security option, std::runtime_error when the connection can't be secured, std::bad_alloc.
    SecureSocketRecord(ILog& logSink, const IConfig& config, SOCKET connection,
                       ISocketStrategy& underlying, bool serverRole, std::wstring target);
    // Frees the buffers, then the credentials, then the security context. Tells the peer nothing.
    ~SecureSocketRecord();
    SecureSocketRecord(const SecureSocketRecord&) = delete;
    SecureSocketRecord& operator=(const SecureSocketRecord&) = delete;

    // Fills streamSizes and gives the two work buffers their size, once. Throws
    // std::runtime_error("::QueryContextAttributes failed") after an Error line.
    void queryStreamSizes();

    // Makes one protected message of length bytes (at most maximumMessageSize) at output, which is
    // the start of sendBuffer. Result: the platform's status; outputSize: the bytes to put on the
    // wire, 0 after a failure, which has been logged.
    SECURITY_STATUS encryptRecord(const char* data, DWORD length, char* output, DWORD& outputSize);

    // Opens the first record of size bytes at data, in place. SEC_E_OK: the plaintext stands at the
    // end of plainBytes, and what lay behind the record has replaced cipherBytes.
    // SEC_E_INCOMPLETE_MESSAGE: nothing changed but incompleteRecord, and missing is the number of
    // bytes the platform still asks for, if it tells. Anything else: the bytes are spoiled.
    SECURITY_STATUS decryptRecord(char* data, DWORD size, DWORD& missing);

    // Opens records from cipherBytes until wanted bytes of plaintext have been gained or no whole
    // record is left. gained: what plainBytes grew by. Result: SEC_E_OK, SEC_E_INCOMPLETE_MESSAGE
    // (the partial record is kept), or a failure after which the ciphertext held is gone.
    SECURITY_STATUS decryptAvailable(DWORD wanted, DWORD& gained);

    // Moves up to length bytes from the front of plainBytes to buffer. Result: how many.
    DWORD consumePlain(char* buffer, DWORD length);

    // Serves a caller from what is held, decrypting no more than it takes. With peek the bytes stay
    // in plainBytes. Result: SEC_E_OK or SEC_E_INCOMPLETE_MESSAGE with delivered bytes placed in
    // buffer, or a failure with delivered 0.
    SECURITY_STATUS readPlain(char* buffer, DWORD length, bool peek, DWORD& delivered);

    // Adds bytes from the network behind those held.
    void appendCipher(const char* data, DWORD length);

    ILog& log;
    SOCKET socket;
    SecureChannelOptions options;
    std::wstring targetName;
    bool isServer;
    ISocketStrategy& underlyingStrategy;
    SecurityContext securityContext;
    std::unique_ptr<ChannelCredentials> credentials;
    // cipherBytes, as it stands, is known to be less than a record.
    bool incompleteRecord = false;
    WipedBytes cipherBytes; // received, not decrypted; starts at a record
    WipedBytes plainBytes;  // decrypted, not delivered
    std::unique_ptr<StreamSizes> streamSizes;
    WipedBytes sendBuffer;           // recordSize bytes, the work area of encryptRecord
    std::vector<char> receiveBuffer; // recordSize bytes, the target of each blocking read

private:
    // Takes what one output buffer of a decryption brought; end is the end of the bytes offered.
    void takeDecrypted(const SecBuffer& buffer, const char* end);
    // Copies up to length bytes from the front of plainBytes. Result: how many.
    DWORD copyPlain(char* buffer, DWORD length) const;
};

} // namespace VexaSsl
