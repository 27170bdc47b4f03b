#include "platform/openssl/tls/MemoryBio.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace VexaSsl::openssl {

Token::~Token() {
    std::free(memory);
}

bool Token::write(ByteView bytes) noexcept {
    void* newMemory = std::realloc(memory, used + bytes.size());
    if (!newMemory) {
        ERR_raise(ERR_LIB_BIO, ERR_R_MALLOC_FAILURE); // statusOfFailure reads it
        return false;
    }
    memory = static_cast<unsigned char*>(newMemory);
    std::memcpy(memory + used, bytes.data(), bytes.size());
    used += bytes.size();
    return true;
}

void* Token::release() noexcept {
    void* released = memory;
    memory = nullptr;
    used = 0;
    return released;
}

// The BIO's methods. Its data is the MemoryBio.
struct MemoryBio::Callbacks {
    static int write(BIO* bio, const char* data, std::size_t size, std::size_t* written) noexcept {
        BIO_clear_retry_flags(bio);
        const auto* bytes = reinterpret_cast<const unsigned char*>(data);
        BioOutput* output = static_cast<MemoryBio*>(BIO_get_data(bio))->output;
        if (output && !output->write({bytes, size})) {
            return 0;
        }
        *written = size;
        return 1;
    }

    static int read(BIO* bio, char* buffer, std::size_t size, std::size_t* count) noexcept {
        BIO_clear_retry_flags(bio);
        ByteView& input = static_cast<MemoryBio*>(BIO_get_data(bio))->input;
        if (input.empty()) {
            BIO_set_retry_read(bio);
            return 0;
        }
        *count = std::min(size, input.size());
        std::memcpy(buffer, input.data(), *count);
        input = input.subspan(*count);
        return 1;
    }

    static long control(BIO*, int command, long, void*) noexcept {
        return command == BIO_CTRL_FLUSH ? 1 : 0;
    }

    static BIO_METHOD* makeMethod() {
        BIO_METHOD* method = orOutOfMemory(
            BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "caller's buffers"));
        BIO_meth_set_write_ex(method, write);
        BIO_meth_set_read_ex(method, read);
        BIO_meth_set_ctrl(method, control);
        return method;
    }
};

BioPointer MemoryBio::makeBio() {
    // Never freed: connections may outlive the static objects of the process.
    static BIO_METHOD* const method = Callbacks::makeMethod();
    auto bio = orOutOfMemory(BioPointer(BIO_new(method)));
    BIO_set_data(bio.get(), this);
    BIO_set_init(bio.get(), 1);
    return bio;
}

} // namespace VexaSsl::openssl
