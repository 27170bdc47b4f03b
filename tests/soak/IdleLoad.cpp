#include "soak/IdleLoad.h"

#include "soak/Hostility.h"

#include "fakes/Sweep.h"
#include "integration/support/Pki.h"
#include "tool/Command.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

namespace VexaSsl::test {

namespace {

constexpr std::size_t dialers = 8;
constexpr unsigned hostileCallers = 4;

Words serverWords(const IdleLoad& load) {
    const auto store = freshFile(".store");
    std::ofstream(store) << "[Connections]\nDefault=Idle\n[Idle]\nUseEncryption=True\n"
                            "MinimumSeverityToLog=Warning\nServerCertificateToSendName="
                         << pki::localhostElliptic << "\n";
    const auto ini = freshFile(".ini");
    std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << "\n";
    return {load.tool,
            "serve",
            "--port",
            "0",
            "--overlapped",
            "--timeout",
            "0",
            "--max-connections",
            std::to_string(2 * (load.idle + load.busy)),
            "--ini",
            ini.string(),
            "--certificates",
            load.certificates};
}

std::uint16_t portOf(const Command& server) {
    const std::string line = server.output();
    return static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
}

using Calls = std::vector<std::unique_ptr<Call>>;

// Runs the work for each index, on several threads.
template <typename Work>
void forEach(std::size_t count, const Work& work) {
    std::vector<std::jthread> threads;
    for (std::size_t first = 0; first < dialers; ++first) {
        threads.emplace_back([&, first] {
            for (std::size_t i = first; i < count; i += dialers) {
                work(i);
            }
        });
    }
}

// The log outlives the calls.
void dialAll(Calls& calls, std::uint16_t port, ILog& log, Counts& counts) {
    forEach(calls.size(), [&](std::size_t i) {
        const auto config = Settings::plain().with("UseEncryption", "True").load(log);
        calls[i] = std::make_unique<Call>(port, *config, log);
        ++counts.honest;
        counts.failed += calls[i]->established() ? 0 : 1;
    });
}

void useAll(const Calls& calls, Counts& counts) {
    forEach(calls.size(), [&](std::size_t i) {
        const bool well = calls[i]->established() && calls[i]->echoes(sentBytes(), i, 100);
        counts.failed += well ? 0 : 1;
        counts.bytes += well ? 100 : 0;
    });
}

void keepBusy(const IdleLoad& load, std::uint16_t port, Counts& counts, Samples& samples,
              pid_t server) {
    const auto end = std::chrono::steady_clock::now() + load.time;
    const auto isOver = [end] { return std::chrono::steady_clock::now() >= end; };
    const HostileServers hostile(hostileCallers);
    // This server has no timeout, since idle connections must stay; silent peers close.
    const Peers peers{.server = port, .hostile = &hostile, .halfOpenSeconds = 5};
    std::vector<std::jthread> hostileThreads;
    for (unsigned seed = 0; seed < hostileCallers; ++seed) {
        hostileThreads.emplace_back([&, seed](const std::stop_token& stop) {
            Caller(peers, counts, seed).callWithHostilityUntil(stop);
        });
    }
    std::vector<std::jthread> threads;
    for (unsigned seed = 0; seed < load.busy; ++seed) {
        threads.emplace_back([&, seed] {
            Caller caller(peers, counts, hostileCallers + seed);
            while (!isOver()) {
                caller.callHonestly(20, 16000);
            }
        });
    }
    while (!isOver()) {
        samples.add(takeSample(server, counts.connections()));
        std::this_thread::sleep_for(load.time / 30);
    }
}

// The limits of an idle connection.
constexpr double kilobytesEach = 60;
constexpr double descriptorsEach = 1;

// Records what an idle connection costs the server. Returns whether it is within the limits.
bool judgeCost(const Sample& before, const Sample& held, std::size_t idle) {
    const auto connections = static_cast<double>(idle);
    const double kilobytes = 1.024 * (held.residentKib - before.residentKib) / connections;
    const double descriptors = (held.descriptors - before.descriptors) / connections;
    char text[100];
    std::snprintf(text, sizeof text, "%zu idle connections: %.1f KB and %.2f descriptors each",
                  idle, kilobytes, descriptors);
    reportFigure("serve --overlapped", text);
    const bool isWithin = kilobytes <= kilobytesEach && descriptors <= descriptorsEach;
    if (!isWithin) {
        std::printf("FAILED: more than %.0f KB or %.0f descriptors for an idle connection\n",
                    kilobytesEach, descriptorsEach);
    }
    return isWithin;
}

bool isAsItWas(const Command& server, std::size_t descriptors) {
    for (int looks = 0; looks < 600; ++looks) {
        if (server.openDescriptors() <= descriptors) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    std::printf("FAILED: the server holds %zu descriptors, %zu before\n", server.openDescriptors(),
                descriptors);
    return false;
}

} // namespace

bool IdleLoad::run(Counts& counts, Samples& samples) const {
    Command server(serverWords(*this));
    if (!server.shows("\n")) {
        std::printf("FAILED: no server: %s\n", server.errors().c_str());
        return false;
    }
    const std::uint16_t port = portOf(server);
    CountingLog log;
    Calls warmUp(1);
    dialAll(warmUp, port, log, counts);
    useAll(warmUp, counts);
    warmUp.clear();
    const std::size_t descriptors = server.settledDescriptors();
    const Sample before = takeSample(server.processNumber(), 0);
    Calls calls(idle);
    dialAll(calls, port, log, counts);
    useAll(calls, counts);
    server.settledDescriptors();
    const bool isCheap = judgeCost(before, takeSample(server.processNumber(), idle), idle);
    keepBusy(*this, port, counts, samples, server.processNumber());
    useAll(calls, counts);
    calls.clear();
    const bool isEmpty = isAsItWas(server, descriptors);
    server.signal(SIGTERM);
    const int status = server.exitStatus();
    if (status != 0) {
        std::printf("FAILED: the server ended with %d\n", status);
    }
    return isCheap && isEmpty && status == 0;
}

} // namespace VexaSsl::test
