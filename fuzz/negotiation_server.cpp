// What a client says to the library's server, up to the end of the negotiation.
#include "Negotiation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return VexaSsl::fuzz::negotiate(VexaSsl::fuzz::Role::Server, data, size);
}
