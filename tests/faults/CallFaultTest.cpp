// Every platform call fails once in every scenario, in every way that it may fail; then a second
// call fails while the library handles the first failure.
#include "faults/FailingCall.h"
#include "faults/Failures.h"
#include "faults/Scenario.h"

#include "fakes/Sampler.h"
#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Every platform call fails once";
// One of this number of pairs of failures is tried usually.
constexpr std::size_t usualStepOfPairs = 37;

struct Figures {
    std::size_t calls = 0;
    std::size_t places = 0; // failures that exist
    std::size_t runs = 0;   // failures that were tried
    std::size_t asDocumented = 0;

    std::string found() const {
        return grouped(asDocumented) + " of " + grouped(runs) + " tried, of " + grouped(places) +
               " places";
    }
};

// Runs the scenario with one failure more than the base. Returns the run, as a base for further
// failures.
RunResult failOnce(const Scenario& scenario, const RunResult& base, Watch::Plan plan,
                   std::size_t position, const Failure& failure, Figures& figures) {
    plan.failingCalls.emplace_back(position, failure);
    RunResult result = run(scenario, plan);
    const Expectation expected = FailingCall(scenario, base, position, failure).expectation();
    const std::string found = difference(expected, result);
    ++figures.runs;
    figures.asDocumented += found.empty() ? 1 : 0;
    EXPECT_EQ(found, "") << scenario.name << ", call " << position << ": "
                         << describe(base.calls[position].call, failure);
    for (std::size_t i = 0; i < std::min(result.outcomes.size(), expected.outcomes.size()); ++i) {
        result.outcomes[i].error = expected.outcomes[i].error;
    }
    return result;
}

void failEachCall(const Scenario& scenario, Figures& figures) {
    const RunResult base = baseRun(scenario);
    for (std::size_t position = 0; position < base.calls.size(); ++position) {
        ++figures.calls;
        for (const Failure& failure : failuresOf(base.calls[position])) {
            ++figures.places;
            failOnce(scenario, base, {}, position, failure, figures);
        }
    }
}

TEST(CallFaults, everyFailingCallHasItsDocumentedOutcome) {
    Figures figures;
    for (const Scenario& scenario : scenarios()) {
        failEachCall(scenario, figures);
    }
    reportFigure(row, grouped(figures.calls) + " calls in " + std::to_string(scenarios().size()) +
                          " scenarios: " + figures.found() +
                          ", with the documented result, last error and log lines, nothing still " +
                          "held and no end left waiting");
}

// The calls that follow a first failure include those that only the failure leads to.
void failEachCallAfter(const Scenario& scenario, const RunResult& base, std::size_t position,
                       const Failure& failure, Sampler& sampler, Figures& figures) {
    Figures first;
    const Watch::Plan plan{.failingCalls = {{position, failure}}};
    const RunResult failing = failOnce(scenario, base, {}, position, failure, first);
    for (std::size_t next = position + 1; next < failing.calls.size(); ++next) {
        for (const Failure& second : failuresOf(failing.calls[next])) {
            ++figures.places;
            if (sampler.selectsNext()) {
                SCOPED_TRACE("after call " + std::to_string(position) + ": " +
                             describe(base.calls[position].call, failure));
                failOnce(scenario, failing, plan, next, second, figures);
            }
        }
    }
}

// The first failure is the first or the last of its table, as these represent the kinds of
// failures.
TEST(CallFaults, everySecondFailingCallHasItsDocumentedOutcome) {
    Figures figures;
    Sampler sampler(sweepStep(usualStepOfPairs));
    for (const Scenario& scenario : scenarios()) {
        const RunResult base = baseRun(scenario);
        for (std::size_t position = 0; position < base.calls.size(); ++position) {
            const std::vector<Failure> all = failuresOf(base.calls[position]);
            failEachCallAfter(scenario, base, position, all.front(), sampler, figures);
            if (all.size() > 1) {
                failEachCallAfter(scenario, base, position, all.back(), sampler, figures);
            }
        }
    }
    reportFigure(row, "and a second failure after the first: " + figures.found() + ", likewise");
}

TEST(CallFaults, defaultCertificateIsAmongTheScenarios) {
    const auto found =
        std::ranges::find(scenarios(), "server with its default certificate", &Scenario::name);
    if (found == scenarios().end()) {
        GTEST_SKIP() << "this user cannot rename the machine, so the scenario is missing";
    }
    EXPECT_EQ(baseRun(*found).outcomes.size(), found->steps.size() + 1); // and the release
}

} // namespace
} // namespace VexaSsl::test
