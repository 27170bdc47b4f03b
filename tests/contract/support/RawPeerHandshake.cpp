#include "contract/support/RawPeer.h"

namespace VexaSsl::test {

void runHandshake(RawPeer& client, Side& server) {
    Bytes toServer = client.step();
    while (!toServer.empty() && server.status() != SEC_E_OK) {
        const Step step = server.receive(toServer);
        toServer = client.step(step.token);
    }
}

void runHandshake(Side& client, RawPeer& server) {
    Bytes toServer = client.step().token;
    while (!toServer.empty()) {
        const Bytes toClient = server.step(toServer);
        if (toClient.empty()) {
            return;
        }
        toServer = client.receive(toClient).token;
    }
}

} // namespace VexaSsl::test
