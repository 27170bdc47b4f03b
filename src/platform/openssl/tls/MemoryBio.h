// The transport that OpenSSL sees: it reads what a call was given and writes where the call wants
// the output. Nothing is kept between calls and nothing ever waits: a read without bytes asks to be
// repeated.
//
// Not guarded; the context that owns a Wire guards it together with the SSL object.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/tls/RecordBoundary.h"
#include <cstddef>

namespace VexaSsl::openssl {

// Where written bytes go.
class WireOutput {
public:
    virtual ~WireOutput() = default;
    // False when there is no room; the TLS operation fails then.
    virtual bool write(ByteView bytes) noexcept = 0;
};

// Grows as needed, by malloc, so that its memory can be handed to a caller who frees it with
// FreeContextBuffer.
class Token final : public WireOutput {
public:
    Token() = default;
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token() override;

    bool write(ByteView bytes) noexcept override;
    std::size_t size() const noexcept { return used; }
    ByteView bytes() const noexcept { return {memory, used}; }
    // The memory, now the caller's; null when nothing was written.
    void* release() noexcept;

private:
    unsigned char* memory = nullptr;
    std::size_t used = 0;
    std::size_t capacity = 0;
};

class Wire {
public:
    Wire() = default;
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    // What the next reads give; the bytes are borrowed until they are read.
    void feed(ByteView bytes) noexcept { input = bytes; }
    // How many of them nothing has read.
    std::size_t unread() const noexcept { return input.size(); }
    // Where writes go; null throws them away.
    void writeTo(WireOutput* target) noexcept { output = target; }

    // A BIO on this wire, which must outlive it.
    BioPointer makeBio();

private:
    struct Callbacks;

    ByteView input;
    WireOutput* output = nullptr;
};

} // namespace VexaSsl::openssl
