#include "Cells.h"

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

bool isCompared(const Entry& entry) {
    return entry.name == "VexaSsl" || entry.name == "raw OpenSSL";
}

Cell::Figure perGigabyte(const Cost& cost, double bytes) {
    return {cost.cpu * giga / bytes, bytes / mega / cost.wall};
}

Cell bulk(const std::string& name, std::size_t writeSize, std::size_t total) {
    return {name, "CPU s/GB", false, KeyKind::p256, false, transfers, [=](Contender& contender) {
                return perGigabyte(runBulk(contender, writeSize, total),
                                   static_cast<double>(total));
            }};
}

Cell busy(int connections, std::size_t total) {
    const std::string name = "bulk, 16 KiB writes, connections at once: ";
    return {name + std::to_string(connections),
            "CPU s/GB",
            false,
            KeyKind::p256,
            false,
            isCompared,
            [=](Contender& contender) {
                const std::size_t each = total / static_cast<std::size_t>(connections);
                return perGigabyte(runBulkAtOnce(contender, connections, 16384, each),
                                   static_cast<double>(each) * connections);
            }};
}

Cell pingPong(const std::string& name, std::size_t size, int roundTrips) {
    return {
        name, "CPU us a trip", false, KeyKind::p256, false, transfers, [=](Contender& contender) {
            const Cost cost = runPingPong(contender, size, roundTrips);
            return Cell::Figure{cost.cpu * mega / roundTrips, 0};
        }};
}

Cell handshakes(const std::string& name, KeyKind key, bool bundle, int count) {
    return {name, "per CPU second", true, key, bundle, hasHandshake, [=](Contender& contender) {
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
        bulk("bulk, 16 KiB writes", 16384, bytes),
        bulk("bulk, 1 MiB writes", 1 << 20, bytes),
        bulk("bulk, 1 KiB writes", 1024, bytes / 2),
        pingPong("ping-pong of 64 B", 64, roundTrips),
        pingPong("ping-pong of 4 KiB", 4096, roundTrips),
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
