// Every allocation fails once, in every scenario.
#include "faults/FailingAllocation.h"
#include "faults/Scenario.h"

#include "fakes/Sampler.h"
#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

const std::string row = "Every allocation fails once";
// One of this number of places at which memory ends is tried usually.
constexpr std::size_t usualStepOfEnds = 7;

struct Figures {
    std::size_t runs = 0;
    std::size_t asDocumented = 0;
    std::size_t inPlatform = 0;
};

void failEachAllocation(const Scenario& scenario, Figures& figures) {
    const RunResult base = baseRun(scenario);
    for (std::size_t position = 0; position < base.allocationCount; ++position) {
        const RunResult result = run(scenario, {.failingAllocation = position});
        ASSERT_TRUE(result.failedAllocation) << scenario.name << ", allocation " << position;
        const std::string found = difference(expectedWithoutMemory(scenario, base, result), result);
        ++figures.runs;
        figures.inPlatform += result.failedAllocation->inPlatform ? 1 : 0;
        figures.asDocumented += found.empty() ? 1 : 0;
        EXPECT_EQ(found, "")
            << scenario.name << ", allocation " << position << " in step "
            << result.failedAllocation->steps << " after call " << result.failedAllocation->calls
            << (result.failedAllocation->inPlatform
                    ? " inside " + nameOf(result.calls[result.failedAllocation->calls - 1].call)
                    : "");
    }
}

TEST(AllocationFaults, everyFailingAllocationHasItsDocumentedOutcome) {
    Figures figures;
    for (const Scenario& scenario : scenarios()) {
        if (!scenario.hasLogLayers) {
            failEachAllocation(scenario, figures);
        }
    }
    reportFigure(row, std::to_string(scenarios().size() - 1) + " scenarios, " +
                          grouped(figures.asDocumented) + " of " + grouped(figures.runs) +
                          " allocations, " + grouped(figures.inPlatform) +
                          " of them inside calls of the platform, with the documented result, " +
                          "last error and log lines, nothing lost and no end left waiting");
}

// From one allocation on, all fail. What is lost is not fixed, but each operation returns, releases
// what it holds and leaves no end waiting.
TEST(AllocationFaults, endOfMemoryEndsNoOperation) {
    std::size_t places = 0;
    std::size_t runs = 0;
    Sampler sampler(sweepStep(usualStepOfEnds));
    for (const Scenario& scenario : scenarios()) {
        if (scenario.hasLogLayers) {
            continue;
        }
        const RunResult base = baseRun(scenario);
        for (std::size_t position = 0; position < base.allocationCount; ++position) {
            ++places;
            if (!sampler.selectsNext()) {
                continue;
            }
            ++runs;
            const RunResult result =
                run(scenario, {.failingAllocation = position, .allLaterFail = true});
            EXPECT_EQ(result.fault, "") << scenario.name << ", from allocation " << position;
            EXPECT_LE(result.lines.size(), base.lines.size() + 1);
        }
    }
    reportFigure(row, "and all later ones too: " + grouped(runs) + " of " + grouped(places) +
                          " places, nothing lost and no end left waiting");
}

} // namespace
} // namespace VexaSsl::test
