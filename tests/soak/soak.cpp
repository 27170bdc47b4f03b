// The load test: thousands of connections one after another, hundreds at the same time for minutes,
// some of them hostile, and thousands of idle ones on `vexassl serve`. Client and server are the
// library. Every byte, memory and descriptors are checked.
//
// Exit status: 0; 1 when an honest connection failed, a hostile server deceived a client, memory or
// descriptors grew by more than is allowed, or an idle connection takes more; 2 for invalid
// arguments.
#include "fakes/Sweep.h"
#include "integration/support/Pki.h"
#include "soak/Callers.h"
#include "soak/IdleLoad.h"
#include "soak/Samples.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>

#include <sys/resource.h>

namespace VexaSsl::test {
namespace {

using Clock = std::chrono::steady_clock;

// Allowed growth for a thousand connections: less than a small object for each.
constexpr double allowedKib = 50;
constexpr double allowedDescriptors = 0.5; // when they are not counted without connections
// Allowed growth in total: connections at the beginning and end cause a slope.
constexpr double allowedKibInAll = 8192;
constexpr double allowedDescriptorsInAll = 20;

struct LoadPlan {
    std::size_t inTurn = 10000;
    std::size_t atOnce = 500;
    double minutes = 10;
    std::size_t idle = 9000;
    std::size_t busy = 10;
    double idleMinutes = 1;
    std::string tool;
    std::string certificates;

    void makeQuick() {
        inTurn = 1000;
        atOnce = 100;
        minutes = 0.2;
        idle = 500;
        idleMinutes = 0.1;
    }
};

// Records the figure. Returns whether it is within the limits.
bool judge(const std::string& what, const Counts& counts, const Samples& samples) {
    char bytes[100];
    std::snprintf(bytes, sizeof bytes, "%.1f MiB echoed and checked; ",
                  static_cast<double>(counts.bytes) / (1 << 20));
    reportFigure("Soak", what + ": " + counts.text() + "; " + bytes + samples.text());
    const double thousands = samples.thousands();
    const double descriptors =
        (samples.hasRest() ? 0 : thousands * allowedDescriptors) + allowedDescriptorsInAll;
    const bool isFlat = thousands * samples.kibPerThousandConnections() <=
                            thousands * allowedKib + allowedKibInAll &&
                        samples.descriptorsGrown() <= descriptors;
    if (!isFlat) {
        std::printf(
            "FAILED: grew by more than %.0f KiB per 1,000 connections and %.0f KiB in all, or "
            "by more than %.0f descriptors\n",
            allowedKib, allowedKibInAll, descriptors);
    }
    return isFlat && counts.areWell();
}

void callInTurn(const LoadPlan& plan, Counts& counts, Samples& samples) {
    constexpr std::size_t workers = 8; // hostile clients occupy some of them
    constexpr std::size_t connectionsPerSample = 100;
    const LoadServer server(workers);
    const HostileServers hostile(workers);
    const Peers peers{server.port(), &hostile};
    std::vector<std::jthread> hostileThreads; // on other threads, since some take long
    for (unsigned seed = 0; seed < workers / 2; ++seed) {
        hostileThreads.emplace_back([&, seed](const std::stop_token& stop) {
            Caller(peers, counts, seed).callWithHostilityUntil(stop);
        });
    }
    Caller caller(peers, counts, workers);
    while (counts.connections() < plan.inTurn) {
        caller.callHonestly(1, 4096);
        if (counts.honest % connectionsPerSample == 0) {
            samples.add(takeSample(::getpid(), counts.connections()));
        }
    }
}

void callAtOnce(const LoadPlan& plan, Counts& counts, Samples& samples) {
    const LoadServer server(plan.atOnce + plan.atOnce / 10);
    const HostileServers hostile(plan.atOnce / 10);
    const Peers peers{server.port(), &hostile};
    const auto end = Clock::now() + std::chrono::duration<double>(60 * plan.minutes);
    std::vector<std::jthread> callers;
    for (unsigned seed = 0; seed < plan.atOnce; ++seed) {
        callers.emplace_back([&, seed] {
            Caller caller(peers, counts, seed);
            while (Clock::now() < end) {
                caller.call(20, 16000);
            }
        });
    }
    while (Clock::now() < end) {
        samples.add(takeSample(::getpid(), counts.connections()));
        std::this_thread::sleep_for(std::chrono::duration<double>(0.3 * plan.minutes + 0.1));
    }
}

using Load = void (*)(const LoadPlan& plan, Counts& counts, Samples& samples);

// Runs a load with both ends in this process.
bool runBetweenRests(const std::string& what, Load load, const LoadPlan& plan) {
    Counts counts;
    Samples samples;
    const Sample before = takeSample(::getpid(), 0);
    load(plan, counts, samples);
    samples.addRest(before, takeSample(::getpid(), counts.connections()));
    return judge(what, counts, samples);
}

bool holdIdle(const LoadPlan& plan) {
    const IdleLoad load{plan.tool, plan.certificates, plan.idle, plan.busy,
                        std::chrono::duration<double>(60 * plan.idleMinutes)};
    Counts counts;
    Samples samples;
    const bool wasHeld = load.run(counts, samples);
    const std::string what = std::to_string(plan.idle) + " idle on serve --overlapped while " +
                             std::to_string(plan.busy) + " are busy";
    return judge(what, counts, samples) && wasHeld;
}

// Each connection needs a descriptor in each process, or two in one.
void allowDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

bool run(const LoadPlan& plan) {
    allowDescriptors();
    pki::use(plan.certificates);
    // Every part runs, also after a failed one.
    char what[80];
    std::snprintf(what, sizeof what, "%zu at once for %.2f minutes", plan.atOnce, plan.minutes);
    bool well = plan.inTurn == 0 || runBetweenRests("one after another", callInTurn, plan);
    well = (plan.atOnce == 0 || runBetweenRests(what, callAtOnce, plan)) && well;
    return (plan.idle == 0 || holdIdle(plan)) && well;
}

} // namespace
} // namespace VexaSsl::test

int main(int argc, char** argv) {
    VexaSsl::test::LoadPlan plan;
    CLI::App arguments("The load test of VexaSsl; script/soak runs it");
    bool isQuick = false;
    arguments.add_option("--minutes", plan.minutes, "How long the connections at once go on");
    arguments.add_option("--in-turn", plan.inTurn, "Connections one after another; 0 skips them");
    arguments.add_option("--at-once", plan.atOnce, "Connections at once; 0 skips them");
    arguments.add_option("--idle", plan.idle, "Idle connections; 0 skips them");
    arguments.add_flag("--quick", isQuick, "Less of everything: under a minute");
    arguments.add_option("--tool", plan.tool, "The program vexassl")->required();
    arguments.add_option("--certificates", plan.certificates, "The tests' certificates")
        ->required();
    try {
        arguments.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return arguments.exit(error) == 0 ? 0 : 2;
    }
    if (isQuick) {
        plan.makeQuick();
    }
    return VexaSsl::test::run(plan) ? 0 : 1;
}
