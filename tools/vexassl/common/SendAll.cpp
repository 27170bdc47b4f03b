#include "common/SendAll.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t largestPiece = 32768;

} // namespace

bool sendAll(ISocketStrategy& strategy, SOCKET s, std::string_view bytes) {
    while (!bytes.empty()) {
        const int piece = static_cast<int>(std::min(bytes.size(), largestPiece));
        const int count = strategy.send(s, bytes.data(), piece, 0);
        if (count == SOCKET_ERROR) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace VexaSsl::tool
