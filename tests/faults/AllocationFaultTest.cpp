// Every allocation fails once, in every scenario.
#include "faults/FailingAllocation.h"
#include "faults/Scenario.h"

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

const std::string row = "Every allocation fails once";

struct Figures {
    std::size_t runs = 0;
    std::size_t asDocumented = 0;
    std::size_t inPlatform = 0;
};

void failEachAllocation(const Scenario& played, Figures& figures) {
    const Course base = measured(played);
    for (std::size_t position = 0; position < base.allocationCount; ++position) {
        const Course course = run(played, {.failingAllocation = position});
        ASSERT_TRUE(course.refused) << played.name << ", allocation " << position;
        const std::string found = difference(expectedWithoutMemory(played, base, course), course);
        ++figures.runs;
        figures.inPlatform += course.refused->inPlatform ? 1 : 0;
        figures.asDocumented += found.empty() ? 1 : 0;
        EXPECT_EQ(found, "") << played.name << ", allocation " << position << " in step "
                             << course.refused->steps << " behind call " << course.refused->calls
                             << (course.refused->inPlatform
                                     ? " inside " +
                                           nameOf(course.calls[course.refused->calls - 1].call)
                                     : "");
    }
}

TEST(AllocationFaults, eachAllocationThatFailsHasItsDocumentedOutcome) {
    Figures figures;
    for (const Scenario& played : scenarios()) {
        if (!played.hasLogLayers) {
            failEachAllocation(played, figures);
        }
    }
    reportFigure(row, std::to_string(scenarios().size() - 1) + " scenarios, " +
                          grouped(figures.asDocumented) + " of " + grouped(figures.runs) +
                          " allocations, " + grouped(figures.inPlatform) +
                          " of them inside calls of the platform, with the documented result, " +
                          "last error and log lines, nothing lost and no one left waiting");
}

} // namespace
} // namespace VexaSsl::test
