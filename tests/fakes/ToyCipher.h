// A toy in the place of the security package's record protection, for tests of the data path. It
// keeps the package's contract of buffers to the letter: in place, four buffers, a trailer that may
// shrink, SECBUFFER_EXTRA, SECBUFFER_MISSING.
//
// A record is four bytes of header (kind, trailer length, big-endian length of the data), the data
// with every byte turned, and a trailer of '~'. The kind decides what its decryption answers.
#pragma once

#include "fakes/ScriptedPlatform.h"

#include <string>
#include <string_view>

namespace VexaSsl::test {

class ToyCipher {
public:
    // Puts EncryptMessage, DecryptMessage and the stream sizes of QueryContextAttributesW in place;
    // other attributes still go to what the platform had. The toy must outlive the script.
    void install(ScriptedPlatform& platform);

    enum class Kind : char {
        Data = 'D',
        Closure = 'C',       // SEC_I_CONTEXT_EXPIRED
        Renegotiation = 'R', // SEC_I_RENEGOTIATE
        Garbage = 'G',       // SEC_E_INVALID_TOKEN
        Altered = 'A',       // SEC_E_MESSAGE_ALTERED
        Exhausting = 'M',    // throws std::bad_alloc
        Failing = 'F',       // throws std::runtime_error("toy")
        Odd = 'O',           // throws std::logic_error("odd")
    };

    // A record as a peer would send it, with the trailer that is in use.
    std::string seal(std::string_view plain, Kind kind = Kind::Data) const;
    // The plaintext of whole records; fails the test when wire isn't just that.
    std::string open(std::string_view wire) const;
    // How many bytes protect a record at present.
    DWORD overhead() const { return headerSize + usedTrailer; }

    static constexpr DWORD headerSize = 4;
    DWORD maximumMessageSize = 100;
    DWORD trailerSize = 8; // what the stream sizes promise
    DWORD usedTrailer = 8; // what a record takes of it
    SECURITY_STATUS encryptStatus = SEC_E_OK;
    SECURITY_STATUS sizesStatus = SEC_E_OK;
    bool tellsMissing = true; // whether a partial record is answered with a count
    int encryptCalls = 0;
    int decryptCalls = 0;

private:
    SECURITY_STATUS fillSizes(void* block) const;
    SECURITY_STATUS encrypt(CtxtHandle* context, ULONG quality, SecBufferDesc* message,
                            ULONG sequence);
    SECURITY_STATUS decrypt(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                            ULONG* quality);
    SECURITY_STATUS reportMissing(SecBuffer* buffers, ULONG missing) const;
};

} // namespace VexaSsl::test
