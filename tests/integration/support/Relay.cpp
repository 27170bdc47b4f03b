#include "integration/support/Relay.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>

namespace VexaSsl::test {

namespace {

constexpr int patience = 1000 * patienceSeconds;

// Lets the receiver take what has been delivered before the next piece follows.
void letItArrive(const HostSocket& to) {
    for (int tries = 0; tries < 1000; ++tries) {
        int unacknowledged = 0;
        if (::ioctl(to.descriptor(), SIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0) {
            break;
        }
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(50));
}

void readToTheEnd(const HostSocket& socket) {
    std::array<char, 4096> ignored;
    while (::recv(socket.descriptor(), ignored.data(), ignored.size(), 0) > 0) {
    }
}

} // namespace

Relay::Relay(std::uint16_t targetPort, const RelayPlan& plan) {
    toServer.treatment = plan.toServer;
    toClient.treatment = plan.toClient;
    std::array<int, 2> ends{};
    ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    wakeReader = HostSocket(static_cast<SOCKET>(ends[0]));
    wakeWriter = HostSocket(static_cast<SOCKET>(ends[1]));
    thread = std::thread([this, targetPort] { run(targetPort); });
}

Relay::~Relay() {
    wakeWriter.close();
    thread.join();
}

void Relay::run(std::uint16_t targetPort) {
    std::array<pollfd, 2> waiting{
        {{static_cast<int>(listener.handle()), POLLIN, 0}, {wakeReader.descriptor(), POLLIN, 0}}};
    ::poll(waiting.data(), waiting.size(), patience);
    if ((waiting[0].revents & POLLIN) == 0) {
        return;
    }
    const int accepted =
        ::accept4(static_cast<int>(listener.handle()), nullptr, nullptr, SOCK_CLOEXEC);
    client = HostSocket(static_cast<SOCKET>(accepted));
    limitWaiting(client.handle());
    server = rawConnection(targetPort);
    passOn();
    client.close();
    server.close();
}

void Relay::passOn() {
    for (const Direction* direction : {&toServer, &toClient}) {
        if (direction->treatment.cutBehind == 0U) {
            cut(direction->treatment.ending);
            return;
        }
    }
    while (!toServer.ended || !toClient.ended) {
        std::array<pollfd, 3> waiting{{{toServer.ended ? -1 : client.descriptor(), POLLIN, 0},
                                       {toClient.ended ? -1 : server.descriptor(), POLLIN, 0},
                                       {wakeReader.descriptor(), POLLIN, 0}}};
        if (::poll(waiting.data(), waiting.size(), patience) <= 0 || waiting[2].revents != 0) {
            return;
        }
        if (waiting[0].revents != 0 && !passSome(toServer, client, server)) {
            return;
        }
        if (waiting[1].revents != 0 && !passSome(toClient, server, client)) {
            return;
        }
    }
}

bool Relay::passSome(Direction& direction, const HostSocket& from, const HostSocket& to) {
    std::array<char, 65536> buffer;
    const ssize_t got = ::recv(from.descriptor(), buffer.data(), buffer.size(), 0);
    if (got <= 0) {
        direction.ended = true;
        deliver(direction, to, direction.waiting.size());
        ::shutdown(to.descriptor(), SHUT_WR);
        return true;
    }
    const Treatment& treatment = direction.treatment;
    direction.waiting.append(buffer.data(), static_cast<std::size_t>(got));
    const std::size_t start = direction.passed;
    const std::size_t end = start + direction.waiting.size();
    if (treatment.cutBehind && end >= *treatment.cutBehind) {
        deliver(direction, to, *treatment.cutBehind - start);
        cut(treatment.ending);
        return false;
    }
    if (treatment.holdBehind && end < treatment.holdUntil) {
        const std::size_t limit = std::max(start, *treatment.holdBehind);
        deliver(direction, to, std::min(end, limit) - start);
        return true;
    }
    deliver(direction, to, direction.waiting.size());
    return true;
}

std::string Relay::captured() const {
    const std::lock_guard lock(guard);
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
        const std::lock_guard lock(guard);
        seen += bytes;
    }
    for (std::string_view rest = bytes; !rest.empty();) {
        std::size_t piece = treatment.pieceSize == 0 ? rest.size() : treatment.pieceSize;
        const std::size_t start = direction.passed;
        if (treatment.splitAt && *treatment.splitAt > start) {
            piece = std::min(piece, *treatment.splitAt - start);
        }
        const ssize_t sent =
            ::send(to.descriptor(), rest.data(), std::min(piece, rest.size()), MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        direction.passed += static_cast<std::size_t>(sent);
        rest.remove_prefix(static_cast<std::size_t>(sent));
        if (!rest.empty()) {
            letItArrive(to);
        }
    }
}

void Relay::cut(Ending ending) {
    if (ending == Ending::reset) {
        const linger atOnce{1, 0};
        for (const HostSocket* end : {&client, &server}) {
            ::setsockopt(end->descriptor(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        }
        return; // closing resets now
    }
    ::shutdown(client.descriptor(), SHUT_WR);
    ::shutdown(server.descriptor(), SHUT_WR);
    readToTheEnd(client);
    readToTheEnd(server);
}

} // namespace VexaSsl::test
