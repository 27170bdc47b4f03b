// Replaces the security package's record protection in tests of the data path, with the same
// contract for buffers: in place, four buffers, a trailer that may shrink, SECBUFFER_EXTRA,
// SECBUFFER_MISSING.
//
// A record is a header of four bytes (kind, trailer length, big-endian length of the data), the
// data XORed with 0x55, and a trailer of '~'. The kind decides the status of its decryption.
#pragma once

#include "fakes/ScriptedPlatform.h"

#include <string>
#include <string_view>

namespace VexaSsl::test {

class ToyCipher {
public:
    // Scripts EncryptMessage, DecryptMessage and the stream sizes of QueryContextAttributesW; other
    // attributes are still answered by the earlier script. Must outlive the platform's use of it.
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

    // Returns a record of the peer, with the current trailer.
    std::string seal(std::string_view plain, Kind kind = Kind::Data) const;
    // Returns the plaintext of whole records; fails the test if wire is anything else.
    std::string open(std::string_view wire) const;
    // The size of header and trailer.
    DWORD overhead() const { return headerSize + usedTrailer; }

    static constexpr DWORD headerSize = 4;
    DWORD maximumMessageSize = 100;
    DWORD trailerSize = 8; // according to the stream sizes
    DWORD usedTrailer = 8; // of a record
    SECURITY_STATUS encryptStatus = SEC_E_OK;
    SECURITY_STATUS sizesStatus = SEC_E_OK;
    bool reportsMissing = true;   // for a partial record
    bool reversesBuffers = false; // of a decryption: only their types tell what they hold
    int encryptCalls = 0;
    int decryptCalls = 0;

private:
    SECURITY_STATUS fillSizes(void* block) const;
    SECURITY_STATUS encrypt(CtxtHandle* context, ULONG quality, SecBufferDesc* message,
                            ULONG sequence);
    SECURITY_STATUS decrypt(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                            ULONG* quality);
    void arrange(SecBuffer* buffers) const;
    SECURITY_STATUS reportMissing(SecBuffer* buffers, ULONG missing) const;
};

} // namespace VexaSsl::test
