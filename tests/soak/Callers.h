// The clients of the load test: honest ones, which check every byte of their echo, hostile ones,
// and honest ones that meet a hostile server.
//
// Threads: a caller is used by one thread. Everything it counts is shared and atomic.
#pragma once

#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"
#include "soak/HostileServers.h"
#include "soak/LoadServer.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <stop_token>
#include <string>

namespace VexaSsl::test {

// Two in a hundred connections have a hostile end, half of them the client's.
inline constexpr unsigned oneHostileIn = 50;

struct Counts {
    std::atomic<std::size_t> honest{0};
    std::atomic<std::size_t> failed{0}; // of the honest ones
    std::atomic<std::size_t> hostileClients{0};
    std::atomic<std::size_t> hostileServers{0};    // that a client has met
    std::atomic<std::size_t> handshakesOfThose{0}; // that the client has seen end well
    std::atomic<std::size_t> misled{0}; // established without a handshake, or given plaintext
    std::atomic<std::size_t> bytes{0};  // echoed and found right

    std::size_t hostile() const { return hostileClients + hostileServers; }
    std::size_t connections() const { return honest + hostile(); }
    bool areWell() const { return failed == 0 && misled == 0; }
    // "1,000 connections; of them ..."
    std::string text() const;
};

// An established client's end.
class Call {
public:
    // Source addresses are 127.0.0.x, in turn, so that ports don't run out.
    // patience: the socket's time-outs in seconds.
    Call(std::uint16_t port, const IConfig& config, ILog& log, int patience = 120);

    bool established() const { return isEstablished; }
    // Sends size bytes of the pattern from position and takes the same bytes back.
    bool echoes(const Pattern& pattern, std::size_t position, std::size_t size);
    // Whether a receive brings a byte, rather than the end, a failure or the time-out.
    bool hearsAnything();
    // The peer finds the connection reset behind half a record.
    void resetInMidRecord();

private:
    HostSocket socket;
    std::unique_ptr<ISocketStrategy> stack;
    bool isEstablished = false;
};

// Whom a caller calls.
struct Peers {
    std::uint16_t server; // the honest one's port
    const HostileServers* hostile;
    int halfOpenSeconds = patienceSeconds; // how long a hostile client stays silent at most
};

class Caller {
public:
    Caller(const Peers& others, Counts& shared, unsigned seed);

    // A connection with so many exchanges of up to maximumSize bytes; counted.
    void callHonestly(int exchanges, std::size_t maximumSize);
    // A hostile client or a hostile server, and of it one of: garbage, half-open, reset in
    // mid-record, slow byte by byte; counted.
    void callWithHostility();
    // As many of these as are due, until the stop.
    void callWithHostilityUntil(const std::stop_token& stop);
    // One of the two: every fiftieth is hostile.
    void call(int exchanges, std::size_t maximumSize);

private:
    void beHostile();
    void callHostileServer();
    void sendGarbage();
    void stayHalfOpen();
    void feedSlowly();

    Peers peers;
    Counts& counts;
    CountingLog log;
    std::unique_ptr<IConfig> config;
    std::mt19937 numbers;
};

// A connected TCP socket from one of the addresses 127.0.0.x.
HostSocket connectFromAnyLoopback(std::uint16_t port);

} // namespace VexaSsl::test
