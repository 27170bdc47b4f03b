#include "MemoryProcess.h"

#include "Measurement.h"

#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace VexaSsl::bench {

namespace {

using Quantity = MemoryCell::Quantity;

constexpr double kibibyte = 1024;
constexpr double mega = 1e6;
constexpr int roundTrips = 2000;
// Connections before the first reading of memory: the first ones also allocate what all share.
constexpr std::size_t sharing = 20;
// Bytes to the server and back on a connection: enough to touch all buffers, or so few that pages
// of them are never touched.
constexpr std::size_t muchUsed = 65536;
constexpr std::size_t littleUsed = 1024;

bool transfers(const Entry& entry) {
    return entry.field != Field::handshakes;
}

bool isCompared(const Entry& entry) {
    return entry.name == "VexaSsl" || entry.name == "raw OpenSSL";
}

MemoryCell growth(const std::string& what, const std::string& unit, std::size_t connections,
                  std::size_t message, Quantity quantity,
                  Receiving receiving = Receiving::blocking) {
    return {what + std::to_string(connections),
            unit,
            message,
            connections,
            quantity,
            receiving,
            isCompared};
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

double measure(Quantity quantity, Contender& contender, std::size_t message,
               std::size_t connections) {
    IdleConnections idle(contender, message);
    const auto count = static_cast<double>(connections);
    if (quantity == Quantity::memory) {
        idle.growTo(sharing);
        const double start = residentMemory();
        idle.growTo(sharing + connections);
        return (residentMemory() - start) / kibibyte / count;
    }
    idle.growTo(connections);
    if (quantity == Quantity::roundTrip) {
        runPingPong(idle.last(), message, roundTrips / 10);
        return runPingPong(idle.last(), message, roundTrips).cpu * mega / roundTrips;
    }
    constexpr std::size_t more = 50;
    const Stopwatch watch;
    idle.growTo(connections + more);
    return watch.elapsed().cpu * mega / more;
}

} // namespace

std::vector<MemoryCell> memoryCells(Effort effort) {
    std::vector<std::size_t> counts{1, 10, 100, 1000, 5000};
    std::size_t connections = 1000;
    if (effort == Effort::quick) {
        counts = {10, 100};
        connections = 300;
    } else if (effort == Effort::smoke) {
        counts = {1};
        connections = 1;
    }
    std::vector<MemoryCell> cells = {
        {"memory of an idle connection", "KiB a pair", muchUsed, connections, Quantity::memory,
         Receiving::blocking, transfers},
        {"memory of an idle connection, hardly used before", "KiB a pair", littleUsed, connections,
         Quantity::memory, Receiving::blocking, transfers},
    };
    for (const std::size_t count : counts) {
        cells.push_back(growth("memory of a connection, idle ones: ", "KiB a pair", count, muchUsed,
                               Quantity::memory));
        cells.push_back(growth("ping-pong of 1 KiB, idle connections beside it: ",
                               "CPU us a round trip", count, littleUsed, Quantity::roundTrip));
        cells.push_back(growth("completion port, ping-pong of 1 KiB, idle connections beside it: ",
                               "CPU us a round trip", count, littleUsed, Quantity::roundTrip,
                               Receiving::completionPort));
        cells.push_back(growth("one more connection, idle ones before it: ", "CPU us", count,
                               littleUsed, Quantity::handshake));
    }
    return cells;
}

double runMemoryProcess(const MemoryCell& cell, const std::string& contender, const Terms& terms) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::ostringstream command;
    command << quoted(self) << " --memory " << quoted(contender) << " "
            << quoted(terms.certificate.parent_path()) << " " << terms.cipherSuite << " "
            << terms.group << " " << terms.cipherSuites << " " << terms.groups << " "
            << cell.message << " " << cell.connections << " " << static_cast<int>(cell.quantity)
            << " " << static_cast<int>(cell.receiving);
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.str().c_str(), "r"), pclose);
    double figure = 0;
    if (!output || std::fscanf(output.get(), "%lf", &figure) != 1) {
        throw std::runtime_error("no figure from " + command.str());
    }
    return figure;
}

int memoryProcess(const std::vector<std::string>& arguments) {
    Terms terms = termsOf(arguments.at(1), KeyKind::p256, false);
    terms.cipherSuite = arguments.at(2);
    terms.group = arguments.at(3);
    terms.cipherSuites = arguments.at(4);
    terms.groups = arguments.at(5);
    terms.receiving = static_cast<Receiving>(std::stoi(arguments.at(9)));
    for (const Entry& entry : contenders()) {
        if (entry.name == arguments.at(0)) {
            const auto contender = entry.make();
            contender->setTerms(terms);
            std::cout << measure(static_cast<Quantity>(std::stoi(arguments.at(8))), *contender,
                                 std::stoul(arguments.at(6)), std::stoul(arguments.at(7)))
                      << std::endl;
            return 0;
        }
    }
    throw std::runtime_error("unknown contender");
}

} // namespace VexaSsl::bench
