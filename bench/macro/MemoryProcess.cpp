#include "MemoryProcess.h"

#include "Measurement.h"

#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace VexaSsl::bench {

namespace {

using Question = MemoryCell::Question;

constexpr double kibibyte = 1024;
constexpr double mega = 1e6;
constexpr int trips = 2000;
// So many connections are there before memory is looked at: the first ones pay for what all share.
constexpr std::size_t before = 20;
// Bytes there and back before a connection falls silent: enough that all buffers have been written
// to, or so few that pages of them were never touched.
constexpr std::size_t usedWell = 65536;
constexpr std::size_t usedHardly = 1024;

bool transfers(const Entry& entry) {
    return entry.field != Field::handshakes;
}

bool isOneOfTwo(const Entry& entry) {
    return entry.name == "VexaSsl" || entry.name == "raw OpenSSL";
}

MemoryCell growth(const std::string& what, const std::string& unit, std::size_t connections,
                  std::size_t message, Question question) {
    return {what + std::to_string(connections), unit, message, connections, question, isOneOfTwo};
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

double measure(Question question, Contender& contender, std::size_t message,
               std::size_t connections) {
    IdleConnections idle(contender, message);
    const auto count = static_cast<double>(connections);
    if (question == Question::memory) {
        idle.growTo(before);
        const double start = residentMemory();
        idle.growTo(before + connections);
        return (residentMemory() - start) / kibibyte / count;
    }
    idle.growTo(connections);
    if (question == Question::trip) {
        runPingPong(idle.last(), message, trips / 10);
        return runPingPong(idle.last(), message, trips).cpu * mega / trips;
    }
    constexpr std::size_t more = 50;
    const Stopwatch watch;
    idle.growTo(connections + more);
    return watch.elapsed().cpu * mega / more;
}

} // namespace

std::vector<MemoryCell> memoryCells(Effort effort) {
    std::vector<std::size_t> counts{1, 10, 100, 1000, 5000};
    std::size_t usual = 1000;
    if (effort == Effort::quick) {
        counts = {10, 100};
        usual = 300;
    } else if (effort == Effort::smoke) {
        counts = {1};
        usual = 1;
    }
    std::vector<MemoryCell> cells = {
        {"memory of an idle connection", "KiB a pair", usedWell, usual, Question::memory,
         transfers},
        {"memory of an idle connection, hardly used before", "KiB a pair", usedHardly, usual,
         Question::memory, transfers},
    };
    for (const std::size_t count : counts) {
        cells.push_back(growth("memory of a connection, idle ones: ", "KiB a pair", count, usedWell,
                               Question::memory));
        cells.push_back(growth("ping-pong of 1 KiB, idle connections beside it: ", "CPU us a trip",
                               count, usedHardly, Question::trip));
        cells.push_back(growth("one more connection, idle ones before it: ", "CPU us", count,
                               usedHardly, Question::handshake));
    }
    return cells;
}

double runMemoryProcess(const MemoryCell& cell, const std::string& contender, const Terms& terms) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::ostringstream command;
    command << quoted(self) << " --memory " << quoted(contender) << " "
            << quoted(terms.certificate.parent_path()) << " " << terms.suite << " " << terms.group
            << " " << terms.suites << " " << terms.groups << " " << cell.message << " "
            << cell.connections << " " << static_cast<int>(cell.question);
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.str().c_str(), "r"), pclose);
    double figure = 0;
    if (!output || std::fscanf(output.get(), "%lf", &figure) != 1) {
        throw std::runtime_error("no answer from " + command.str());
    }
    return figure;
}

int memoryProcess(const std::vector<std::string>& arguments) {
    Terms terms = termsOf(arguments.at(1), KeyKind::p256, false);
    terms.suite = arguments.at(2);
    terms.group = arguments.at(3);
    terms.suites = arguments.at(4);
    terms.groups = arguments.at(5);
    for (const Entry& entry : contenders()) {
        if (entry.name == arguments.at(0)) {
            const auto contender = entry.make();
            contender->settle(terms);
            std::cout << measure(static_cast<Question>(std::stoi(arguments.at(8))), *contender,
                                 std::stoul(arguments.at(6)), std::stoul(arguments.at(7)))
                      << std::endl;
            return 0;
        }
    }
    throw std::runtime_error("unknown contender");
}

} // namespace VexaSsl::bench
