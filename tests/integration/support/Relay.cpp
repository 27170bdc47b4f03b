#include "integration/support/Relay.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace VexaSsl::test {

namespace {

constexpr int timeout = 1000 * timeoutSeconds;

void readToTheEnd(const HostSocket& socket) {
    std::array<char, 4096> ignored;
    while (receiveBytes(socket.handle(), ignored.data(), ignored.size()) > 0) {
    }
}

} // namespace

Relay::Relay(std::uint16_t targetPort, const RelayPlan& plan) {
    toServer.treatment = plan.toServer;
    toClient.treatment = plan.toClient;
    const Listener wake;
    wakeWriter = rawConnection(wake.port());
    wakeReader = HostSocket(acceptFrom(wake.handle()));
    thread = std::thread([this, targetPort] { run(targetPort); });
}

Relay::~Relay() {
    wakeWriter.close();
    thread.join();
}

void Relay::run(std::uint16_t targetPort) {
    const unsigned ready = waitReadable({listener.handle(), wakeReader.handle()}, timeout);
    if ((ready & 1U) == 0) {
        return;
    }
    client = HostSocket(acceptFrom(listener.handle()));
    setTimeouts(client.handle());
    server = rawConnection(targetPort);
    passOn();
    client.close();
    server.close();
}

void Relay::passOn() {
    for (const Direction* direction : {&toServer, &toClient}) {
        if (direction->treatment.cutAfter == 0U) {
            cut(direction->treatment.ending);
            return;
        }
    }
    while (!toServer.ended || !toClient.ended) {
        const unsigned ready =
            waitReadable({toServer.ended ? INVALID_SOCKET : client.handle(),
                          toClient.ended ? INVALID_SOCKET : server.handle(), wakeReader.handle()},
                         timeout);
        if (ready == 0 || (ready & 4U) != 0) {
            return;
        }
        if ((ready & 1U) != 0 && !passSome(toServer, client, server)) {
            return;
        }
        if ((ready & 2U) != 0 && !passSome(toClient, server, client)) {
            return;
        }
    }
}

bool Relay::passSome(Direction& direction, const HostSocket& from, const HostSocket& to) {
    std::array<char, 65536> buffer;
    const int got = receiveBytes(from.handle(), buffer.data(), buffer.size());
    if (got <= 0) {
        direction.ended = true;
        deliver(direction, to, direction.waiting.size());
        platform::shutdown(to.handle(), SD_SEND);
        return true;
    }
    const Treatment& treatment = direction.treatment;
    direction.waiting.append(buffer.data(), static_cast<std::size_t>(got));
    const std::size_t start = direction.passed;
    const std::size_t end = start + direction.waiting.size();
    if (treatment.cutAfter && end >= *treatment.cutAfter) {
        deliver(direction, to, *treatment.cutAfter - start);
        cut(treatment.ending);
        return false;
    }
    if (treatment.holdAfter && end < treatment.holdUntil) {
        const std::size_t limit = std::max(start, *treatment.holdAfter);
        deliver(direction, to, std::min(end, limit) - start);
        return true;
    }
    deliver(direction, to, direction.waiting.size());
    return true;
}

std::string Relay::captured() const {
    const std::lock_guard lock(mutex);
    return seen;
}

void Relay::deliver(Direction& direction, const HostSocket& to, std::size_t size) {
    const Treatment& treatment = direction.treatment;
    std::string bytes = direction.waiting.substr(0, size);
    direction.waiting.erase(0, size);
    if (treatment.changeAt && *treatment.changeAt - direction.passed < bytes.size()) {
        char& byte = bytes[*treatment.changeAt - direction.passed];
        byte = static_cast<char>(byte ^ 0x55);
    }
    {
        const std::lock_guard lock(mutex);
        seen += bytes;
    }
    for (std::string_view rest = bytes; !rest.empty();) {
        std::size_t piece = treatment.pieceSize == 0 ? rest.size() : treatment.pieceSize;
        const std::size_t start = direction.passed;
        if (treatment.splitAt && *treatment.splitAt > start) {
            piece = std::min(piece, *treatment.splitAt - start);
        }
        piece = std::min(piece, rest.size());
        // Counted before it is sent, so that a receiver finds it counted.
        direction.passed += piece;
        const int sent = sendBytes(to.handle(), rest.substr(0, piece));
        direction.passed -= piece - static_cast<std::size_t>(std::max(sent, 0));
        if (sent <= 0) {
            return;
        }
        rest.remove_prefix(static_cast<std::size_t>(sent));
        if (!rest.empty()) {
            waitUntilReceived(to.handle());
        }
    }
}

void Relay::cut(Ending ending) {
    if (ending == Ending::reset) {
        resetAtClose(client.handle());
        resetAtClose(server.handle());
        return;
    }
    platform::shutdown(client.handle(), SD_SEND);
    platform::shutdown(server.handle(), SD_SEND);
    readToTheEnd(client);
    readToTheEnd(server);
}

} // namespace VexaSsl::test
