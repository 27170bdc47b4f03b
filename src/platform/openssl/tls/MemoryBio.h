// A BIO that reads from the input of a call and writes to its output. It buffers nothing between
// calls and never blocks: a read without input sets the retry flag.
//
// One thread at a time; TlsConnection::mutex guards it together with the SSL object.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/tls/RecordBoundary.h"
#include <cstddef>

namespace VexaSsl::openssl {

// The destination of written bytes.
class BioOutput {
public:
    virtual ~BioOutput() = default;
    // Returns false when out of memory; the TLS operation then fails.
    virtual bool write(ByteView bytes) noexcept = 0;
};

// Output in memory from malloc, which the caller of the package releases with FreeContextBuffer.
class Token final : public BioOutput {
public:
    Token() = default;
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token() override;

    bool write(ByteView bytes) noexcept override;
    std::size_t size() const noexcept { return used; }
    ByteView bytes() const noexcept { return {memory, used}; }
    // Returns the memory, which the caller then owns; null when nothing was written.
    void* release() noexcept;

private:
    unsigned char* memory = nullptr;
    std::size_t used = 0;
};

class MemoryBio {
public:
    MemoryBio() = default;
    MemoryBio(const MemoryBio&) = delete;
    MemoryBio& operator=(const MemoryBio&) = delete;

    // Sets the bytes for the next reads. They must live until they are read or replaced.
    void setInput(ByteView bytes) noexcept { input = bytes; }
    // Returns the number of input bytes that have not been read.
    std::size_t unread() const noexcept { return input.size(); }
    // Null discards what is written.
    void setOutput(BioOutput* target) noexcept { output = target; }

    // Returns a BIO on this object, which must outlive it.
    BioPointer makeBio();

private:
    struct Callbacks;

    ByteView input;
    BioOutput* output = nullptr;
};

} // namespace VexaSsl::openssl
