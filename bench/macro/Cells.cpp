#include "Cells.h"

#include <utility>

namespace VexaSsl::bench {

namespace {

constexpr double mega = 1e6;
constexpr double giga = 1e9;

bool transfers(const Entry& entry) {
    return entry.field != Field::handshakes;
}

bool hasHandshake(const Entry& entry) {
    return entry.field != Field::transfers;
}

bool hasEverything(const Entry& entry) {
    return entry.field == Field::everything;
}

bool isCompared(const Entry& entry) {
    return entry.name == "VexaSsl" || entry.name == "raw OpenSSL";
}

Cell::Figure perGigabyte(const Cost& cost, double bytes) {
    return {cost.cpu * giga / bytes, bytes / mega / cost.wall};
}

// A cell of transfers with the P-256 certificate.
Cell transfer(const std::string& name, const std::string& unit,
              std::function<bool(const Entry&)> includes,
              std::function<Cell::Figure(Contender&)> run) {
    return {.name = name,
            .unit = unit,
            .moreIsBetter = false,
            .key = KeyKind::p256,
            .bundle = false,
            .receiving = Receiving::blocking,
            .includes = std::move(includes),
            .run = std::move(run)};
}

Cell bulk(const std::string& name, std::size_t writeSize, std::size_t receiveSize,
          std::size_t total, std::function<bool(const Entry&)> includes) {
    return transfer(name, "CPU s/GB", std::move(includes), [=](Contender& contender) {
        return perGigabyte(runBulk(contender, writeSize, receiveSize, total),
                           static_cast<double>(total));
    });
}

// Without TLS each small receive is a system call, which says nothing here.
Cell received(const std::string& pieces, std::size_t receiveSize, std::size_t total) {
    return bulk("bulk, 16 KiB writes, received by " + pieces, 16384, receiveSize, total,
                hasEverything);
}

Cell busy(int connections, std::size_t total) {
    const std::string name = "bulk, 16 KiB writes, connections at once: ";
    return transfer(name + std::to_string(connections), "CPU s/GB", isCompared,
                    [=](Contender& contender) {
                        const std::size_t each = total / static_cast<std::size_t>(connections);
                        return perGigabyte(runBulkAtOnce(contender, connections, 16384, each),
                                           static_cast<double>(each) * connections);
                    });
}

Cell framed(const std::string& name, Framing framing, std::size_t total) {
    constexpr std::size_t bodySize = 1024;
    const std::size_t count = total / bodySize;
    return transfer(name, "CPU us a message", hasEverything, [=](Contender& contender) {
        const Cost cost = runFramed(contender, bodySize, framing, count);
        return Cell::Figure{cost.cpu * mega / static_cast<double>(count), 0};
    });
}

Cell pingPong(const std::string& name, std::size_t size, int roundTrips) {
    return transfer(name, "CPU us a round trip", transfers, [=](Contender& contender) {
        const Cost cost = runPingPong(contender, size, roundTrips);
        return Cell::Figure{cost.cpu * mega / roundTrips, 0};
    });
}

// More than one record each way, the last of which waits for an acknowledgement without
// TCP_NODELAY.
Cell latency(const std::string& name, std::size_t size, int roundTrips) {
    return transfer(name, "wall us a round trip", transfers, [=](Contender& contender) {
        const Cost cost = runPingPong(contender, size, roundTrips);
        return Cell::Figure{cost.wall * mega / roundTrips, 0};
    });
}

// Raw OpenSSL works over memory BIOs here. No end receives more than it has asked for.
Cell overlapped(Receiving receiving, const std::string& size, std::size_t bytes, int roundTrips) {
    const std::string means =
        receiving == Receiving::events ? "with events" : "on a completion port";
    Cell cell = pingPong("overlapped " + means + ", ping-pong of " + size, bytes, roundTrips);
    cell.receiving = receiving;
    cell.includes = isCompared;
    return cell;
}

Cell handshakes(const std::string& name, KeyKind key, bool bundle, int count) {
    return {name,
            "per CPU second",
            true,
            key,
            bundle,
            Receiving::blocking,
            hasHandshake,
            [=](Contender& contender) {
                return Cell::Figure{count / runHandshakes(contender, count).cpu, 0};
            }};
}

} // namespace

std::vector<Cell> cells(Effort effort) {
    const int portion = effort == Effort::full ? 400 : effort == Effort::quick ? 100 : 1;
    const std::size_t bytes = static_cast<std::size_t>(portion) * (320 << 10);
    const int roundTrips = portion * 40;
    const int handshakeCount = (portion + 1) / 2;
    return {
        bulk("bulk, 16 KiB writes", 16384, largestReceive, bytes, transfers),
        bulk("bulk, 1 MiB writes", 1 << 20, largestReceive, bytes, transfers),
        bulk("bulk, 1 KiB writes", 1024, largestReceive, bytes / 2, transfers),
        received("4 KiB", 4096, bytes),
        received("1 KiB", 1024, bytes),
        received("64 B", 64, bytes / 4),
        received("16 B", 16, bytes / 8),
        framed("framed messages of 1 KiB", Framing::loop, bytes / 2),
        framed("framed messages of 1 KiB, MSG_WAITALL", Framing::recvAll, bytes / 2),
        pingPong("ping-pong of 64 B", 64, roundTrips),
        pingPong("ping-pong of 4 KiB", 4096, roundTrips),
        latency("latency, ping-pong of 17,000 B", 17000, roundTrips / 8),
        overlapped(Receiving::events, "64 B", 64, roundTrips),
        overlapped(Receiving::events, "4 KiB", 4096, roundTrips),
        overlapped(Receiving::events, "64 KiB", 65536, roundTrips / 8),
        overlapped(Receiving::completionPort, "64 B", 64, roundTrips),
        overlapped(Receiving::completionPort, "4 KiB", 4096, roundTrips),
        overlapped(Receiving::completionPort, "64 KiB", 65536, roundTrips / 8),
        handshakes("handshakes, RSA-2048", KeyKind::rsa2048, false, handshakeCount),
        handshakes("handshakes, P-256", KeyKind::p256, false, handshakeCount),
        handshakes("handshakes, P-256, 140 roots", KeyKind::p256, true, (handshakeCount + 1) / 2),
        busy(1, bytes),
        busy(2, bytes),
        busy(4, bytes),
        busy(8, bytes),
    };
}

} // namespace VexaSsl::bench
