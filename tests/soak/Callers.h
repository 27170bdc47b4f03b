// The clients of the load test: honest ones, which check every byte of their echo, and hostile
// ones.
//
// Threads: a caller is used by one thread. Everything it counts is shared and atomic.
#pragma once

#include "integration/support/Meeting.h"
#include "integration/support/Pattern.h"
#include "soak/EchoServer.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>

namespace VexaSsl::test {

// Two in a hundred are hostile.
inline constexpr unsigned oneHostileIn = 50;

struct Counts {
    std::atomic<std::size_t> honest{0};
    std::atomic<std::size_t> failed{0}; // of the honest ones
    std::atomic<std::size_t> hostile{0};
    std::atomic<std::size_t> bytes{0}; // echoed and found right

    std::size_t connections() const { return honest + hostile; }
};

// An established client's end.
class Call {
public:
    // Source addresses are 127.0.0.x, in turn, so that ports don't run out.
    Call(std::uint16_t port, const IConfig& config, ILog& log);

    bool established() const { return isEstablished; }
    // Sends size bytes of the pattern from position and takes the same bytes back.
    bool echoes(const Pattern& pattern, std::size_t position, std::size_t size);
    // The peer finds the connection reset behind half a record.
    void resetInMidRecord();

private:
    HostSocket socket;
    std::unique_ptr<ISocketStrategy> stack;
    bool isEstablished = false;
};

class Caller {
public:
    Caller(std::uint16_t serverPort, Counts& shared, unsigned seed);

    // A connection with so many exchanges of up to maximumSize bytes; counted.
    void callHonestly(int exchanges, std::size_t maximumSize);
    // One of: garbage, half-open, reset in mid-record, slow byte by byte; counted.
    void callWithHostility();
    // One of the two: every fiftieth is hostile.
    void call(int exchanges, std::size_t maximumSize);

private:
    void sendGarbage();
    void stayHalfOpen();
    void feedSlowly();

    std::uint16_t port;
    Counts& counts;
    CountingLog log;
    std::unique_ptr<IConfig> config;
    std::mt19937 numbers;
};

// The bytes that all callers send.
const Pattern& sentBytes();
// A connected TCP socket from one of the addresses 127.0.0.x.
HostSocket connectFromAnyLoopback(std::uint16_t port);

} // namespace VexaSsl::test
