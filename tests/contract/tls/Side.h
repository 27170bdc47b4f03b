// One end of a TLS connection, driven through the contract's calls alone. Bytes travel only where a
// test carries them.
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
// The sizes of the TLS records that bytes hold, one behind the other.
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

// What one handshake call gave.
struct Step {
    SECURITY_STATUS status = SEC_E_OK;
    Bytes token = {};
    ULONG attributes = 0;
    bool tokenAllocated = false;
    bool alertTouched = false;
    // The second entry of the input, as the call left it.
    ULONG inputType = SECBUFFER_EMPTY;
    ULONG inputSize = 0;

    bool asksFor(std::size_t missing) const {
        return status == SEC_E_INCOMPLETE_MESSAGE && inputType == SECBUFFER_MISSING &&
               inputSize == missing;
    }
};

// What one DecryptMessage gave.
struct Opened {
    SECURITY_STATUS status = SEC_E_OK;
    Bytes plaintext = {};
    std::size_t plaintextAt = 0; // from the start of the input
    std::size_t extra = 0;
    ULONG missing = 0;
    Bytes memory = {}; // the input as the call left it
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

    // One handshake call on exactly these bytes. The first of a client takes none.
    Step step(Bytes received = {});
    // Bytes are kept while a record is incomplete, and so is the beginning of a record that a
    // system leaves behind whole ones.
    Step receive(const Bytes& received);

    bool established() const { return lastStatus == SEC_E_OK; }
    SECURITY_STATUS status() const { return lastStatus; }
    SecPkgContext_StreamSizes sizes();

    // One record with the text. protectStatus tells the call's own outcome.
    Bytes protect(const Bytes& plaintext);
    Bytes protect(const std::string& text) { return protect(bytesOf(text)); }
    SECURITY_STATUS protectStatus(const Bytes& plaintext);
    // One DecryptMessage on the bytes.
    Opened open(Bytes ciphertext);
    // Opens record by record until the bytes are used up; the plaintext of all.
    std::string openAll(const Bytes& ciphertext);

    CtxtHandle* context() { return &handle; }
    Credential credential;
    ULONG requirements;

private:
    Side(bool client, Credential used, std::wstring name, ULONG bits);
    SECURITY_STATUS call(SecBufferDesc* input, SecBufferDesc* output, ULONG* attributes);

    bool isClient;
    std::wstring target;
    CtxtHandle handle{};
    bool begun = false;
    SECURITY_STATUS lastStatus = SEC_I_CONTINUE_NEEDED;
    Bytes held;
};

// Expects that a handle stands for no context, whatever it is asked for.
void expectVoidContext(CtxtHandle handle);

// Carries the tokens between both, at most chunk bytes at once, until neither has anything to send.
void shakeHands(Side& client, Side& server, std::size_t chunk = std::string::npos);

} // namespace VexaSsl::test
