// What is measured: the CPU time of both ends, which share one process and one core, and the memory
// of a process. Wall-clock time is recorded too, but depends on the other work of the machine.
#pragma once

#include "Contender.h"
#include "Loopback.h"

#include <chrono>
#include <cstddef>

namespace VexaSsl::bench {

// Restricts the process to one core. Throws std::runtime_error.
void pinToOneCore();

// Raises the limit of open descriptors to the highest one allowed.
void raiseDescriptorLimit();

// Returns the proportional set size of the process in bytes. Throws std::runtime_error.
double residentMemory();

// The cost of one run in seconds.
struct Cost {
    double cpu = 0; // of all threads of the process
    double wall = 0;
};

class Stopwatch {
public:
    Stopwatch();
    Cost elapsed() const;

private:
    double cpuStart;
    std::chrono::steady_clock::time_point wallStart;
};

struct Pair {
    std::unique_ptr<Connection> client;
    std::unique_ptr<Connection> server;
};

// Returns both ends of a new connection.
Pair connectPair(Contender& contender);

// The largest receive of any measurement, in bytes.
inline constexpr std::size_t largestReceive = 65536;

// Receives size bytes, at most pieceSize at a time.
void receiveAll(Connection& connection, std::size_t size, std::size_t pieceSize = largestReceive);

// The client sends total bytes in writes of writeSize. Measured until the server has received them,
// at most receiveSize bytes at a time.
Cost runBulk(Contender& contender, std::size_t writeSize, std::size_t receiveSize,
             std::size_t total);
// The client sends count messages: a length of 4 bytes and a body of bodySize in one write. The
// server receives the length and then the body, with recvAll or in a loop of its own.
enum class Framing { loop, recvAll };
Cost runFramed(Contender& contender, std::size_t bodySize, Framing framing, std::size_t count);
// The same over several connections at the same time, with total bytes on each.
Cost runBulkAtOnce(Contender& contender, int connections, std::size_t writeSize, std::size_t total);
// size bytes to the server and back, roundTrips times.
Cost runPingPong(Contender& contender, std::size_t size, int roundTrips);
Cost runPingPong(Pair& pair, std::size_t size, int roundTrips);
// count connections, one after another, from the client's connect to its close.
Cost runHandshakes(Contender& contender, int count);

// Connections that are idle after one message to the server and back.
class IdleConnections {
public:
    IdleConnections(Contender& contender, std::size_t messageSize);

    void growTo(std::size_t count);
    Pair& last() { return pairs.back(); }

private:
    Contender& contender;
    std::size_t messageSize;
    Descriptor listener;
    std::vector<Pair> pairs;
};

} // namespace VexaSsl::bench
