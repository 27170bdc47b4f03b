#include "soak/Hostility.h"

#include <thread>
#include <vector>

namespace VexaSsl::test {

const Pattern& sentBytes() {
    static const Pattern pattern;
    return pattern;
}

void sendSlowly(const HostSocket& socket, std::string_view bytes, std::chrono::milliseconds pause) {
    for (const char& byte : bytes) {
        sendBytes(socket.handle(), {&byte, 1});
        std::this_thread::sleep_for(pause);
    }
}

void awaitEnd(const HostSocket& socket) {
    std::vector<char> buffer(4096);
    while (receiveBytes(socket.handle(), buffer.data(), buffer.size()) > 0) {
    }
}

} // namespace VexaSsl::test
