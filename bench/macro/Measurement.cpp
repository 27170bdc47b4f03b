#include "Measurement.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <future>
#include <sched.h>
#include <stdexcept>
#include <sys/resource.h>

namespace VexaSsl::bench {

namespace {

constexpr std::size_t warmUpSize = 256 * 1024;
constexpr double kibibyte = 1024;

double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    constexpr double nanosecond = 1e-9;
    return static_cast<double>(now.tv_sec) + nanosecond * static_cast<double>(now.tv_nsec);
}

void sendAllOf(Connection& connection, const std::vector<char>& data, std::size_t total) {
    for (std::size_t done = 0; done < total;) {
        const std::size_t piece = std::min(data.size(), total - done);
        connection.send(data.data(), piece);
        done += piece;
    }
}

// Sends total bytes in writes of writeSize while another thread runs receive, which must receive
// them.
template <typename Receive>
void pass(Connection& from, Connection& to, std::size_t writeSize, std::size_t total,
          Receive receive) {
    auto received = std::async(std::launch::async, [&] {
        receive();
        to.send("!", 1);
    });
    sendAllOf(from, std::vector<char>(writeSize, 'x'), total);
    receiveAll(from, 1);
    received.get();
}

void pass(Connection& from, Connection& to, std::size_t writeSize, std::size_t receiveSize,
          std::size_t total) {
    pass(from, to, writeSize, total, [&] { receiveAll(to, total, receiveSize); });
}

} // namespace

void pinToOneCore() {
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    int core = CPU_SETSIZE - 1;
    while (core > 0 && !CPU_ISSET(core, &allowed)) {
        --core;
    }
    CPU_ZERO(&allowed);
    CPU_SET(core, &allowed);
    if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) {
        throw std::runtime_error("cannot restrict the process to one core");
    }
}

void raiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

double residentMemory() {
    std::ifstream file("/proc/self/smaps_rollup");
    std::string word;
    while (file >> word) {
        double amount = 0;
        if (word == "Pss:" && file >> amount) {
            return amount * kibibyte;
        }
    }
    throw std::runtime_error("cannot read /proc/self/smaps_rollup");
}

Stopwatch::Stopwatch() : cpuStart(cpuSeconds()), wallStart(std::chrono::steady_clock::now()) {}

Cost Stopwatch::elapsed() const {
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wallStart;
    return {cpuSeconds() - cpuStart, wall.count()};
}

Pair connectPair(Contender& contender) {
    const Descriptor listener = listenOnLoopback();
    Pair pair;
    auto accepted =
        std::async(std::launch::async, [&] { return contender.accept(listener.get()); });
    pair.client = contender.connect(portOf(listener.get()));
    pair.server = accepted.get();
    return pair;
}

void receiveAll(Connection& connection, std::size_t size, std::size_t pieceSize) {
    std::array<char, largestReceive> buffer;
    while (size != 0) {
        size -= connection.recv(buffer.data(), std::min(size, pieceSize));
    }
}

Cost runBulk(Contender& contender, std::size_t writeSize, std::size_t receiveSize,
             std::size_t total) {
    Pair pair = connectPair(contender);
    pass(*pair.client, *pair.server, writeSize, receiveSize, warmUpSize);
    const Stopwatch watch;
    pass(*pair.client, *pair.server, writeSize, receiveSize, total);
    return watch.elapsed();
}

Cost runFramed(Contender& contender, std::size_t bodySize, Framing framing, std::size_t count) {
    constexpr std::size_t lengthSize = 4;
    Pair pair = connectPair(contender);
    std::array<char, largestReceive> buffer;
    const auto receive = [&](std::size_t size) {
        if (framing == Framing::recvAll) {
            pair.server->recvAll(buffer.data(), size);
        } else {
            receiveAll(*pair.server, size);
        }
    };
    const std::size_t writeSize = lengthSize + bodySize;
    const Stopwatch watch;
    pass(*pair.client, *pair.server, writeSize, count * writeSize, [&] {
        for (std::size_t i = 0; i < count; ++i) {
            receive(lengthSize);
            receive(bodySize);
        }
    });
    return watch.elapsed();
}

Cost runBulkAtOnce(Contender& contender, int connections, std::size_t writeSize,
                   std::size_t total) {
    std::vector<Pair> pairs(static_cast<std::size_t>(connections));
    for (Pair& pair : pairs) {
        pair = connectPair(contender);
    }
    const Stopwatch watch;
    std::vector<std::future<void>> running;
    for (Pair& pair : pairs) {
        running.push_back(std::async(std::launch::async, [&pair, writeSize, total] {
            pass(*pair.client, *pair.server, writeSize, writeSize, total);
        }));
    }
    for (auto& transfer : running) {
        transfer.get();
    }
    return watch.elapsed();
}

Cost runPingPong(Contender& contender, std::size_t size, int roundTrips) {
    Pair pair = connectPair(contender);
    runPingPong(pair, size, 10);
    return runPingPong(pair, size, roundTrips);
}

Cost runPingPong(Pair& pair, std::size_t size, int roundTrips) {
    const std::vector<char> message(size, 'x');
    const Stopwatch watch;
    auto answered = std::async(std::launch::async, [&] {
        for (int i = 0; i < roundTrips; ++i) {
            receiveAll(*pair.server, size);
            pair.server->send(message.data(), size);
        }
    });
    for (int i = 0; i < roundTrips; ++i) {
        pair.client->send(message.data(), size);
        receiveAll(*pair.client, size);
    }
    answered.get();
    return watch.elapsed();
}

// The server keeps an end until the next connection is accepted, since the client may still be
// reading the last handshake message.
Cost runHandshakes(Contender& contender, int count) {
    const Descriptor listener = listenOnLoopback();
    const std::uint16_t port = portOf(listener.get());
    const Stopwatch watch;
    auto accepting = std::async(std::launch::async, [&] {
        std::unique_ptr<Connection> latest;
        for (int i = 0; i < count; ++i) {
            latest = contender.accept(listener.get());
        }
    });
    for (int i = 0; i < count; ++i) {
        contender.connect(port);
    }
    accepting.get();
    return watch.elapsed();
}

IdleConnections::IdleConnections(Contender& contender, std::size_t messageSize)
    : contender(contender), messageSize(messageSize), listener(listenOnLoopback()) {}

// One thread accepts all connections, as in a server, so that the heap is laid out as there.
void IdleConnections::growTo(std::size_t count) {
    const std::size_t before = pairs.size();
    pairs.resize(count);
    const std::vector<char> message(messageSize, 'x');
    auto accepting = std::async(std::launch::async, [&] {
        for (std::size_t i = before; i < count; ++i) {
            pairs[i].server = contender.accept(listener.get());
            receiveAll(*pairs[i].server, messageSize);
            pairs[i].server->send(message.data(), messageSize);
            pairs[i].server->postReceive();
        }
    });
    for (std::size_t i = before; i < count; ++i) {
        pairs[i].client = contender.connect(portOf(listener.get()));
        pairs[i].client->send(message.data(), messageSize);
        receiveAll(*pairs[i].client, messageSize);
    }
    accepting.get();
}

} // namespace VexaSsl::bench
