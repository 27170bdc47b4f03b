// Every call of the platform fails once, in every way in which it may, in every scenario; and while
// the library deals with that, a second one fails.
#include "faults/FailingCall.h"
#include "faults/Failures.h"
#include "faults/Scenario.h"

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <string>

namespace VexaSsl::test {
namespace {

const std::string row = "Every platform call fails once";

struct Figures {
    std::size_t calls = 0;
    std::size_t runs = 0;
    std::size_t asDocumented = 0;
};

// Fails the call of the base at the position in one way, behind the failures that the base has.
void failOnce(const Scenario& played, const Course& base, Watch::Plan plan, std::size_t position,
              const Failure& failure, Figures& figures) {
    plan.failingCalls.emplace_back(position, failure);
    const Course course = run(played, plan);
    const Expectation expected = FailingCall(played, base, position, failure).expectation();
    const std::string found = difference(expected, course);
    ++figures.runs;
    figures.asDocumented += found.empty() ? 1 : 0;
    EXPECT_EQ(found, "") << played.name << ", call " << position << ": "
                         << describe(base.calls[position].call, failure);
}

void failEachCall(const Scenario& played, Figures& figures) {
    const Course base = measured(played);
    for (std::size_t position = 0; position < base.calls.size(); ++position) {
        ++figures.calls;
        for (const Failure& failure : failuresOf(base.calls[position])) {
            failOnce(played, base, {}, position, failure, figures);
        }
    }
}

TEST(CallFaults, eachCallThatFailsOnceHasItsDocumentedOutcome) {
    Figures figures;
    for (const Scenario& played : scenarios()) {
        failEachCall(played, figures);
    }
    tellFigure(row, std::to_string(scenarios().size()) + " scenarios, " + grouped(figures.calls) +
                        " calls: " + grouped(figures.asDocumented) + " of " +
                        grouped(figures.runs) +
                        " failures with the documented result, last error and log lines, " +
                        "nothing still held and no one left waiting");
}

} // namespace
} // namespace VexaSsl::test
