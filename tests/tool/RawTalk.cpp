#include "tool/RawTalk.h"

#include <array>
#include <cstddef>
#include <string>

namespace VexaSsl::test {

Bytes receiveSome(const HostSocket& socket) {
    std::array<char, 65536> buffer;
    const int count = receiveBytes(socket.handle(), buffer.data(), buffer.size());
    return count > 0 ? bytesOf(std::string(buffer.data(), static_cast<std::size_t>(count)))
                     : Bytes();
}

void sendAll(const HostSocket& socket, const Bytes& bytes) {
    sendBytes(socket.handle(), std::string(bytes.begin(), bytes.end()));
}

Bytes answerHandshake(RawPeer& server, const HostSocket& socket) {
    for (Bytes flight = receiveSome(socket); !flight.empty(); flight = receiveSome(socket)) {
        const Bytes answer = server.step(flight);
        if (server.established()) {
            return answer;
        }
        sendAll(socket, answer);
    }
    return {};
}

bool runHandshake(RawPeer& client, const HostSocket& socket) {
    sendAll(socket, client.step());
    while (!client.established()) {
        const Bytes flight = receiveSome(socket);
        if (flight.empty()) {
            return false;
        }
        sendAll(socket, client.step(flight));
    }
    return true;
}

} // namespace VexaSsl::test
