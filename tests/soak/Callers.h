// The clients of the load test: honest ones, which check every byte of their echo, hostile ones,
// and honest ones with a hostile server.
//
// Threads: a caller is used by one thread. The counts are atomic.
#pragma once

#include "integration/support/ConnectedPair.h"
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

// Two of a hundred connections have a hostile end, half of them the client.
inline constexpr unsigned oneHostileIn = 50;

struct Counts {
    std::atomic<std::size_t> honest{0};
    std::atomic<std::size_t> failed{0}; // honest connections
    std::atomic<std::size_t> hostileClients{0};
    std::atomic<std::size_t> hostileServers{0};    // connections to a hostile server
    std::atomic<std::size_t> handshakesOfThose{0}; // successful handshakes with them
    std::atomic<std::size_t> misled{0}; // connections without a handshake, or plaintext received
    std::atomic<std::size_t> bytes{0};  // echoed correctly

    std::size_t hostile() const { return hostileClients + hostileServers; }
    std::size_t connections() const { return honest + hostile(); }
    bool areWell() const { return failed == 0 && misled == 0; }
    // "1,000 connections; of them ..."
    std::string text() const;
};

// The client's end of a connection.
class Call {
public:
    // Uses source addresses 127.0.0.x in turn, so that ports don't run out.
    // timeoutSeconds: the timeouts of the socket.
    Call(std::uint16_t port, const IConfig& config, ILog& log, int timeoutSeconds = 120);

    bool established() const { return isEstablished; }
    // Sends size bytes of the pattern from position and receives their echo.
    bool echoes(const Pattern& pattern, std::size_t position, std::size_t size);
    // Returns whether a receive returns a byte, not the end, a failure or a timeout.
    bool hearsAnything();
    // Resets the connection after half a record.
    void resetInMidRecord();

private:
    HostSocket socket;
    std::unique_ptr<ISocketStrategy> stack;
    bool isEstablished = false;
};

// The servers of a caller.
struct Peers {
    std::uint16_t server; // port of the honest server
    const HostileServers* hostile;
    int halfOpenSeconds = timeoutSeconds; // the longest silence of a hostile client
};

class Caller {
public:
    Caller(const Peers& others, Counts& shared, unsigned seed);

    // Runs and counts a connection with that many exchanges of up to maximumSize bytes.
    void callHonestly(int exchanges, std::size_t maximumSize);
    // Runs and counts a connection with a hostile client or server: garbage, half open, reset
    // inside a record, or slow single bytes.
    void callWithHostility();
    // Runs connections until the stop.
    void callWithHostilityUntil(const std::stop_token& stop);
    // Runs an honest or, every fiftieth time, a hostile connection.
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

// Returns a connected TCP socket with a source address 127.0.0.x.
HostSocket connectFromAnyLoopback(std::uint16_t port);

} // namespace VexaSsl::test
