// How things are measured: CPU time of both ends, which share one process and one core, and the
// memory of a process. Wall-clock time stands beside it for those who want to see it; on a machine
// with other work it says little.
#pragma once

#include "Contender.h"
#include "Loopback.h"

#include <chrono>
#include <cstddef>

namespace VexaSsl::bench {

// Everything that the process does from now on happens on one core.
void pinToOneCore();

// As many descriptors as the system gives.
void raiseDescriptorLimit();

// Physical memory of the process in bytes, its own share of what is shared.
double residentMemory();

// What one run took, in seconds.
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

// Two ends of one connection.
Pair meet(Contender& contender);

// Reads size bytes, in portions of at most one full TLS record.
void receiveAll(Connection& connection, std::size_t size);

// The client writes total bytes, write by write; the time ends when the server has them all.
Cost runBulk(Contender& contender, std::size_t writeSize, std::size_t total);
// The same over several connections at once; total bytes on each.
Cost runBulkAtOnce(Contender& contender, int connections, std::size_t writeSize, std::size_t total);
// size bytes there and back.
Cost runPingPong(Contender& contender, std::size_t size, int trips);
Cost runPingPong(Pair& pair, std::size_t size, int trips);
// One connection after another, from the client's socket to its closing.
Cost runHandshakes(Contender& contender, int count);

// Connections that are made, used for one message of so many bytes there and back, and then left
// alone.
class IdleConnections {
public:
    IdleConnections(Contender& asked, std::size_t size);

    void growTo(std::size_t count);
    Pair& last() { return pairs.back(); }

private:
    Contender& contender;
    std::size_t messageSize;
    Descriptor listener;
    std::vector<Pair> pairs;
};

} // namespace VexaSsl::bench
