// The state of one secured connection: security context, credentials and buffered bytes. The
// constructor runs the handshake on the calling thread and throws if it fails.
//
// Threads: one sender (encryptRecord) and one receiver (everything else) at a time. A sender reads
// streamSizes and securityContext and writes sendBuffer; a receiver works on the rest.
//
// Every buffer may hold plaintext, since encryption and decryption work in place, and is wiped
// before it is freed.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"
#include "VexaSsl/ISocketStrategy.h"
#include "config/SecureChannelOptions.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/ReceivedBytes.h"
#include "secure/SecurityContext.h"
#include "secure/WipingAllocator.h"
#include "secure/WorkBuffer.h"

#include <memory>
#include <span>
#include <string>

namespace VexaSsl {

class ChannelCredentials;

// The sizes of a record in bytes, which depend on the cipher suite.
struct StreamSizes {
    // Allocates the zeroed block; the sizes stay 0 until it has been filled.
    StreamSizes(ILog& log, CtxtHandle* securityContext);

    ILog& log;
    CtxtHandle* securityContext; // the record's
    std::unique_ptr<SecPkgContext_StreamSizes> block;
    DWORD recordSize = 0; // headerSize + maximumMessageSize + trailerSize
    DWORD headerSize = 0;
    DWORD maximumMessageSize = 0; // of plaintext in a record
    DWORD trailerSize = 0;
    DWORD overheadSize = 0; // headerSize + trailerSize
};

class SecureSocketRecord {
public:
    // Runs the handshake. targetName is the host to authenticate on a client, the peer's name,
    // which may be empty, on a server. Throws std::out_of_range("invalid configuration") for an
    // invalid security option and std::runtime_error if the connection can't be secured.
    SecureSocketRecord(ILog& log, const IConfig& config, SOCKET socket,
                       ISocketStrategy& underlyingStrategy, bool isServer, std::wstring targetName);
    // Frees the buffers, then the credentials, then the security context. Sends nothing.
    ~SecureSocketRecord();
    SecureSocketRecord(const SecureSocketRecord&) = delete;
    SecureSocketRecord& operator=(const SecureSocketRecord&) = delete;

    // Fills streamSizes and sizes sendBuffer and receiveBuffer. Throws
    // std::runtime_error("::QueryContextAttributes failed") after an Error line.
    void queryStreamSizes();

    // Encrypts length bytes (at most maximumMessageSize) into a record at output, the start of
    // sendBuffer. Returns the platform's status; a failure has been logged. outputSize is the size
    // of the record, 0 after a failure.
    SECURITY_STATUS encryptRecord(const char* data, DWORD length, char* output, DWORD& outputSize);

    // Decrypts the first record of the ciphertext that was taken from received, in place. Returns
    // the platform's status:
    //   SEC_E_OK                  the plaintext has been appended to received, and what follows the
    //                             record put back
    //   SEC_E_INCOMPLETE_MESSAGE  only incompleteRecord has changed; missing is the number of
    //                             bytes that the platform asks for, 0 if it doesn't say
    //   otherwise                 the bytes are unusable
    // SEC_E_INTERNAL_ERROR stands for output of the platform that is not part of the input.
    SECURITY_STATUS decryptRecord(char* data, DWORD size, DWORD& missing);

    // Decrypts records until plainBytes has grown by wanted bytes or no whole record is left.
    // gained is the growth. Returns SEC_E_OK, SEC_E_INCOMPLETE_MESSAGE with the partial record
    // kept, or a failure, after which cipherBytes is empty.
    SECURITY_STATUS decryptAvailable(DWORD wanted, DWORD& gained);

    // Decrypts every whole record. A failure is kept, and the next call that needs more plaintext
    // than is held returns it, as if the records had been decrypted only then; ciphertext that has
    // arrived meanwhile stays.
    void decryptHeld();

    // Moves at most length bytes from plainBytes to buffer. Returns their number.
    DWORD consumePlain(char* buffer, DWORD length);

    // Delivers held bytes, decrypting no more records than needed. With peek the bytes stay in
    // plainBytes. Returns SEC_E_OK or SEC_E_INCOMPLETE_MESSAGE with delivered bytes in buffer, or a
    // failure with delivered 0.
    SECURITY_STATUS readPlain(char* buffer, DWORD length, bool peek, DWORD& delivered);

    // Each appends bytes from the network to cipherBytes. The second takes the memory over, with
    // length bytes used, at least one.
    void appendCipher(const char* data, DWORD length);
    void appendCipher(WipedBytes&& bytes, DWORD length);
    // Returns where to read the next recordSize bytes to: receiveBuffer, out of which bytes that
    // are held have been moved.
    char* prepareRead();
    // Appends the first length bytes of receiveBuffer, at least one, to cipherBytes.
    void takeRead(DWORD length);

    // Received and not decrypted; starts at a record.
    std::span<const char> cipherBytes() const noexcept { return received.cipher(); }
    // Decrypted and not delivered.
    std::span<const char> plainBytes() const noexcept { return received.plain(); }

    ILog& log;
    SOCKET socket;
    SecureChannelOptions options;
    std::wstring targetName;
    bool isServer;
    ISocketStrategy& underlyingStrategy;
    SecurityContext securityContext;
    std::unique_ptr<ChannelCredentials> credentials;
    // Of decryptHeld, not returned yet; else SEC_E_OK.
    SECURITY_STATUS heldFailure = SEC_E_OK;
    // cipherBytes is known to hold less than a record.
    bool incompleteRecord = false;
    ReceivedBytes received;
    std::unique_ptr<StreamSizes> streamSizes;
    WorkBuffer sendBuffer;    // recordSize bytes, for encryptRecord
    WorkBuffer receiveBuffer; // recordSize bytes, for each blocking read

private:
    // Takes one output buffer of DecryptMessage; end is the end of the input.
    void takeDecrypted(const SecBuffer& buffer, char* end);
    // Copies at most length bytes of plainBytes to buffer. Returns their number.
    DWORD copyPlain(char* buffer, DWORD length) const;
};

} // namespace VexaSsl
