// One end of a TLS connection, driven through the contract's calls alone. The test carries the
// bytes between the ends.
#pragma once

#include "SecurityShapes.h"

#include <cstddef>
#include <string>
#include <vector>

namespace VexaSsl::test {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const std::string& text);
std::string textOf(const Bytes& bytes);
Bytes operator+(Bytes left, const Bytes& right);
Bytes part(const Bytes& bytes, std::size_t start, std::size_t size = std::string::npos);
// The sizes of the consecutive TLS records in bytes.
std::vector<std::size_t> recordSizes(const Bytes& bytes);

inline constexpr ULONG clientRequirements = ISC_REQ_STREAM | ISC_REQ_EXTENDED_ERROR |
                                            ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_USE_SUPPLIED_CREDS |
                                            ISC_REQ_CONFIDENTIALITY | ISC_REQ_REPLAY_DETECT;
inline constexpr ULONG serverRequirements = ASC_REQ_STREAM | ASC_REQ_EXTENDED_ERROR |
                                            ASC_REQ_ALLOCATE_MEMORY | ASC_REQ_CONFIDENTIALITY |
                                            ASC_REQ_REPLAY_DETECT;

// A credential handle.
class Credential {
public:
    static Credential outbound(const std::string& certificate = "");
    static Credential inbound(const std::string& certificate = "server-ecdsa");
    Credential(Credential&& other) noexcept;
    ~Credential();

    CredHandle* get() { return &handle; }

private:
    Credential(ULONG use, const std::string& certificate);
    CredHandle handle{};
};

SECURITY_STATUS acquire(ULONG use, PCCERT_CONTEXT certificate, CredHandle& handle);

// The outcome of one handshake call.
struct Step {
    SECURITY_STATUS status = SEC_E_OK;
    Bytes token = {};
    ULONG attributes = 0;
    TimeStamp expiry = {};
    bool tokenAllocated = false;
    bool alertTouched = false;
    // The second entry of the input after the call.
    ULONG inputType = SECBUFFER_EMPTY;
    ULONG inputSize = 0;

    bool asksFor(std::size_t missing) const {
        return status == SEC_E_INCOMPLETE_MESSAGE && inputType == SECBUFFER_MISSING &&
               inputSize == missing;
    }
};

// The outcome of one DecryptMessage.
struct Opened {
    SECURITY_STATUS status = SEC_E_OK;
    Bytes plaintext = {};
    std::size_t plaintextAt = 0; // from the start of the input
    std::size_t extra = 0;
    ULONG missing = 0;
    Bytes memory = {}; // the input after the call
    std::vector<ULONG> types = {};
};

class Side {
public:
    static Side client(const std::wstring& target = L"localhost",
                       const std::string& certificate = "",
                       ULONG requirements = clientRequirements);
    static Side server(const std::string& certificate = "server-ecdsa",
                       ULONG requirements = serverRequirements);
    Side(Side&& other) noexcept;
    ~Side();

    // Makes one handshake call with exactly these bytes. A client's first call takes none.
    Step step(Bytes received = {});
    // Makes one handshake call with the bytes held and these. Keeps them while a record is
    // incomplete, and keeps a partial record that the call reports as extra.
    Step receive(const Bytes& received);

    bool established() const { return lastStatus == SEC_E_OK; }
    SECURITY_STATUS status() const { return lastStatus; }
    SecPkgContext_StreamSizes sizes();

    // Returns one record with the plaintext; throws on failure. protectStatus returns the status.
    Bytes protect(const Bytes& plaintext);
    Bytes protect(const std::string& text) { return protect(bytesOf(text)); }
    SECURITY_STATUS protectStatus(const Bytes& plaintext);
    // Calls DecryptMessage once.
    Opened open(Bytes ciphertext);
    // Returns the plaintext of all records; throws on failure.
    std::string openAll(const Bytes& ciphertext);

    CtxtHandle* context() { return &handle; }
    Credential credential;
    ULONG requirements;

private:
    Side(bool client, Credential used, std::wstring name, ULONG bits);
    SECURITY_STATUS call(SecBufferDesc* input, SecBufferDesc* output, Step& step);

    bool isClient;
    std::wstring target;
    CtxtHandle handle{};
    bool begun = false;
    SECURITY_STATUS lastStatus = SEC_I_CONTINUE_NEEDED;
    Bytes held;
};

// Expects every call to refuse the handle as invalid.
void expectVoidContext(CtxtHandle handle);

// Exchanges tokens, at most chunk bytes at once, until neither end has anything to send.
void runHandshake(Side& client, Side& server, std::size_t chunk = std::string::npos);

} // namespace VexaSsl::test
