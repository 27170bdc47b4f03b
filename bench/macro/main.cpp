// The library beside others that do the same work, over loopback.
//
//   macro_bench [--quick | --smoke] [--rounds N] [--only TEXT] [--who NAME] RESULTS
//
// Writes the results as JSON and tells its progress on the standard error. Each cell is measured in
// rounds, and in each round all contenders one after another, so that what else the machine does
// falls on all of them. With --only TEXT just the cells with TEXT in their name, with --who NAME
// just that contender, for a profiler.
//
// Memory is measured in processes of their own, which this program starts from itself:
//
//   macro_bench --memory CONTENDER FOLDER SUITE GROUP SUITES GROUPS MESSAGE CONNECTIONS...
#include "Agreement.h"
#include "Cells.h"
#include "MemoryProcess.h"
#include "Results.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>

namespace {

using namespace VexaSsl::bench;

struct Wishes {
    Effort effort = Effort::full;
    int rounds = 0;
    std::string only;
    std::string who;
    std::string results;
};

Wishes wishesOf(int argc, char** argv) {
    Wishes wishes;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--quick") {
            wishes.effort = Effort::quick;
        } else if (word == "--smoke") {
            wishes.effort = Effort::smoke;
        } else if (word == "--rounds" && i + 1 < argc) {
            wishes.rounds = std::atoi(argv[++i]);
        } else if (word == "--only" && i + 1 < argc) {
            wishes.only = argv[++i];
        } else if (word == "--who" && i + 1 < argc) {
            wishes.who = argv[++i];
        } else {
            wishes.results = word;
        }
    }
    if (wishes.results.empty()) {
        throw std::runtime_error(
            "macro_bench [--quick | --smoke] [--rounds N] [--only TEXT] [--who NAME] RESULTS");
    }
    if (wishes.rounds <= 0) {
        constexpr std::array<int, 3> usual{1, 3, 9};
        wishes.rounds = usual[static_cast<std::size_t>(wishes.effort)];
    }
    return wishes;
}

class Folder {
public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "vexassl-bench-XXXXXX";
        path = ::mkdtemp(name.data()) ? name : throw std::runtime_error("no temporary folder");
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path path;
};

class Benchmark {
public:
    explicit Benchmark(Wishes asked) : wishes(std::move(asked)), results(wishes.results) {
        makeCertificates(folder.path);
        if (wishes.effort != Effort::smoke) {
            letFilesSettle();
        }
        for (const Entry& entry : contenders()) {
            made[entry.name] = entry.make();
        }
        for (const KeyKind key : {KeyKind::p256, KeyKind::rsa2048}) {
            Terms terms = termsOf(folder.path, key, false);
            learnAgreement(*made.at("VexaSsl"), terms);
            agreements[key] = terms;
            std::cerr << terms.subject << ": " << terms.suite << ", " << terms.group << " out of "
                      << terms.suites << " and " << terms.groups << "\n";
        }
    }

    void run() {
        for (const Cell& cell : cells(wishes.effort)) {
            if (cell.name.find(wishes.only) != std::string::npos) {
                measure(cell);
            }
        }
        for (const MemoryCell& cell : memoryCells(wishes.effort)) {
            if (cell.name.find(wishes.only) != std::string::npos) {
                measure(cell);
            }
        }
        results.finish();
    }

private:
    template <typename AnyCell>
    bool asks(const AnyCell& cell, const Entry& entry) const {
        return cell.asks(entry) && (wishes.who.empty() || wishes.who == entry.name);
    }

    Terms termsFor(KeyKind key, bool bundle) const {
        Terms terms = termsOf(folder.path, key, bundle);
        terms.suite = agreements.at(key).suite;
        terms.group = agreements.at(key).group;
        terms.suites = agreements.at(key).suites;
        terms.groups = agreements.at(key).groups;
        return terms;
    }

    // The first run of each contender is for its caches and counts for nothing.
    void measure(const Cell& cell) {
        std::cerr << cell.name << std::flush;
        for (int round = 0; round <= wishes.rounds; ++round) {
            for (const Entry& entry : contenders()) {
                if (!asks(cell, entry)) {
                    continue;
                }
                Contender& contender = *made.at(entry.name);
                contender.settle(termsFor(cell.key, cell.bundle));
                const Cell::Figure figure = cell.run(contender);
                if (round != 0) {
                    results.add(entry.name, figure.value, figure.megabytesPerSecond);
                }
            }
            std::cerr << "." << std::flush;
        }
        results.endCell(cell.name, cell.unit, cell.moreIsBetter);
        std::cerr << "\n";
    }

    void measure(const MemoryCell& cell) {
        std::cerr << cell.name << std::flush;
        for (const Entry& entry : contenders()) {
            if (asks(cell, entry)) {
                results.add(entry.name,
                            runMemoryProcess(cell, entry.name, termsFor(KeyKind::p256, false)), 0);
                std::cerr << "." << std::flush;
            }
        }
        results.endCell(cell.name, cell.unit, false);
        std::cerr << "\n";
    }

    Wishes wishes;
    Folder folder;
    Results results;
    std::map<std::string, std::unique_ptr<Contender>> made;
    std::map<KeyKind, Terms> agreements;
};

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        pinToOneCore();
        raiseDescriptorLimit();
        if (argc > 1 && std::strcmp(argv[1], "--memory") == 0) {
            return memoryProcess({argv + 2, argv + argc});
        }
        Benchmark(wishesOf(argc, argv)).run();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "macro_bench: " << error.what() << "\n";
        return 1;
    }
}
