// A server's handshake messages to the library's client.
#include "Negotiation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return VexaSsl::fuzz::negotiate(VexaSsl::fuzz::Role::Client, data, size);
}
