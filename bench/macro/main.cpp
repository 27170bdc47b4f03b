// Compares the library with other TLS libraries over the loopback address.
//
//   macro_bench [--quick | --smoke] [--rounds N] [--only TEXT] [--who NAME] RESULTS
//
// Writes the results as JSON and its progress to standard error. Each cell is measured in rounds,
// and in each round all contenders in turn, so that other work of the machine affects all of them.
// --only TEXT measures the cells with TEXT in their name, --who NAME that contender alone, for a
// profiler.
//
// Memory is measured in separate processes, which this program starts as
//
//   macro_bench --memory CONTENDER FOLDER CIPHER-SUITE GROUP CIPHER-SUITES GROUPS MESSAGE
//   CONNECTIONS QUANTITY RECEIVING
#include "Cells.h"
#include "MemoryProcess.h"
#include "Negotiation.h"
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

struct Options {
    Effort effort = Effort::full;
    int rounds = 0;
    std::string only;
    std::string who;
    std::string results;
};

Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--quick") {
            options.effort = Effort::quick;
        } else if (word == "--smoke") {
            options.effort = Effort::smoke;
        } else if (word == "--rounds" && i + 1 < argc) {
            options.rounds = std::atoi(argv[++i]);
        } else if (word == "--only" && i + 1 < argc) {
            options.only = argv[++i];
        } else if (word == "--who" && i + 1 < argc) {
            options.who = argv[++i];
        } else if (word.starts_with("-")) {
            options.results.clear();
            break;
        } else {
            options.results = word;
        }
    }
    if (options.results.empty()) {
        throw std::runtime_error(
            "macro_bench [--quick | --smoke] [--rounds N] [--only TEXT] [--who NAME] RESULTS");
    }
    if (options.rounds <= 0) {
        constexpr std::array<int, 3> rounds{1, 3, 9}; // smoke, quick, full
        options.rounds = rounds[static_cast<std::size_t>(options.effort)];
    }
    return options;
}

class Folder {
public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "vexassl-bench-XXXXXX";
        path = ::mkdtemp(name.data())
                   ? name
                   : throw std::runtime_error("cannot create a temporary folder");
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
    explicit Benchmark(Options given) : options(std::move(given)), results(options.results) {
        makeCertificates(folder.path);
        if (options.effort != Effort::smoke) {
            waitForStableFileTimes();
        }
        for (const Entry& entry : contenders()) {
            made[entry.name] = entry.make();
        }
        for (const KeyKind key : {KeyKind::p256, KeyKind::rsa2048}) {
            Terms terms = termsOf(folder.path, key, false);
            negotiateTerms(*made.at("VexaSsl"), terms);
            negotiated[key] = terms;
            std::cerr << terms.subject << ": " << terms.cipherSuite << ", " << terms.group << " of "
                      << terms.cipherSuites << " and " << terms.groups << "\n";
        }
    }

    void run() {
        for (const Cell& cell : cells(options.effort)) {
            if (cell.name.find(options.only) != std::string::npos) {
                measure(cell);
            }
        }
        for (const MemoryCell& cell : memoryCells(options.effort)) {
            if (cell.name.find(options.only) != std::string::npos) {
                measure(cell);
            }
        }
        results.finish();
    }

private:
    template <typename AnyCell>
    bool isMeasured(const AnyCell& cell, const Entry& entry) const {
        return cell.includes(entry) && (options.who.empty() || options.who == entry.name);
    }

    Terms termsFor(KeyKind key, bool bundle, Receiving receiving) const {
        Terms terms = termsOf(folder.path, key, bundle);
        terms.receiving = receiving;
        terms.cipherSuite = negotiated.at(key).cipherSuite;
        terms.group = negotiated.at(key).group;
        terms.cipherSuites = negotiated.at(key).cipherSuites;
        terms.groups = negotiated.at(key).groups;
        return terms;
    }

    // The first run of each contender fills its caches and is not counted.
    void measure(const Cell& cell) {
        std::cerr << cell.name << std::flush;
        for (int round = 0; round <= options.rounds; ++round) {
            for (const Entry& entry : contenders()) {
                if (!isMeasured(cell, entry)) {
                    continue;
                }
                Contender& contender = *made.at(entry.name);
                contender.setTerms(termsFor(cell.key, cell.bundle, cell.receiving));
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
            if (isMeasured(cell, entry)) {
                results.add(entry.name,
                            runMemoryProcess(cell, entry.name,
                                             termsFor(KeyKind::p256, false, cell.receiving)),
                            0);
                std::cerr << "." << std::flush;
            }
        }
        results.endCell(cell.name, cell.unit, false);
        std::cerr << "\n";
    }

    Options options;
    Folder folder;
    Results results;
    std::map<std::string, std::unique_ptr<Contender>> made;
    std::map<KeyKind, Terms> negotiated;
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
        Benchmark(parseOptions(argc, argv)).run();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "macro_bench: " << error.what() << "\n";
        return 1;
    }
}
