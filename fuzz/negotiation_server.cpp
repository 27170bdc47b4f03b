// A client's handshake messages to the library's server.
#include "Negotiation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return VexaSsl::fuzz::negotiate(VexaSsl::fuzz::Role::Server, data, size);
}
