// Every call of the platform fails once, in every way in which it may, in every scenario; and while
// the library deals with that, a second one fails.
#include "faults/FailingCall.h"
#include "faults/Failures.h"
#include "faults/Scenario.h"

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

const std::string row = "Every platform call fails once";
// Of all pairs of failures so few are tried usually.
constexpr std::size_t usualStepOfPairs = 37;

struct Figures {
    std::size_t calls = 0;
    std::size_t places = 0; // failures that there are
    std::size_t runs = 0;   // that were tried
    std::size_t asDocumented = 0;

    std::string found() const {
        return grouped(asDocumented) + " of " + grouped(runs) + " tried, of " + grouped(places) +
               " there are";
    }
};

// One failure behind those that the base has had. Result: the run, as a base for more of them.
Course failOnce(const Scenario& played, const Course& base, Watch::Plan plan, std::size_t position,
                const Failure& failure, Figures& figures) {
    plan.failingCalls.emplace_back(position, failure);
    Course course = run(played, plan);
    const Expectation expected = FailingCall(played, base, position, failure).expectation();
    const std::string found = difference(expected, course);
    ++figures.runs;
    figures.asDocumented += found.empty() ? 1 : 0;
    EXPECT_EQ(found, "") << played.name << ", call " << position << ": "
                         << describe(base.calls[position].call, failure);
    for (std::size_t i = 0; i < std::min(course.outcomes.size(), expected.outcomes.size()); ++i) {
        course.outcomes[i].error = expected.outcomes[i].error;
    }
    return course;
}

void failEachCall(const Scenario& played, Figures& figures) {
    const Course base = measured(played);
    for (std::size_t position = 0; position < base.calls.size(); ++position) {
        ++figures.calls;
        for (const Failure& failure : failuresOf(base.calls[position])) {
            ++figures.places;
            failOnce(played, base, {}, position, failure, figures);
        }
    }
}

TEST(CallFaults, eachCallThatFailsHasItsDocumentedOutcome) {
    Figures figures;
    for (const Scenario& played : scenarios()) {
        failEachCall(played, figures);
    }
    reportFigure(row, grouped(figures.calls) + " calls in " + std::to_string(scenarios().size()) +
                          " scenarios: " + figures.found() +
                          ", with the documented result, last error and log lines, nothing still " +
                          "held and no one left waiting");
}

// Every so many pairs one is tried.
class Thinning {
public:
    explicit Thinning(std::size_t step) : distance(step) {}
    bool takesNext() { return count++ % distance == 0; }

private:
    std::size_t distance;
    std::size_t count = 0;
};

// What fails behind a first failure, among it what only a failure leads to.
void failEachCallBehind(const Scenario& played, const Course& base, std::size_t position,
                        const Failure& failure, Thinning& thinning, Figures& figures) {
    Figures first;
    const Watch::Plan plan{.failingCalls = {{position, failure}}};
    const Course failing = failOnce(played, base, {}, position, failure, first);
    for (std::size_t next = position + 1; next < failing.calls.size(); ++next) {
        for (const Failure& second : failuresOf(failing.calls[next])) {
            ++figures.places;
            if (thinning.takesNext()) {
                SCOPED_TRACE("behind call " + std::to_string(position) + ": " +
                             describe(base.calls[position].call, failure));
                failOnce(played, failing, plan, next, second, figures);
            }
        }
    }
}

// The first failure is one of the outermost of its table, which stand for the kinds that there are.
TEST(CallFaults, aSecondCallThatFailsHasItsDocumentedOutcomeToo) {
    Figures figures;
    Thinning thinning(sweepStep(usualStepOfPairs));
    for (const Scenario& played : scenarios()) {
        const Course base = measured(played);
        for (std::size_t position = 0; position < base.calls.size(); ++position) {
            const std::vector<Failure> all = failuresOf(base.calls[position]);
            failEachCallBehind(played, base, position, all.front(), thinning, figures);
            if (all.size() > 1) {
                failEachCallBehind(played, base, position, all.back(), thinning, figures);
            }
        }
    }
    reportFigure(row, "and behind a first failure a second one: " + figures.found() + ", likewise");
}

TEST(CallFaults, aServerIsAlsoTriedWithItsDefaultCertificate) {
    const auto found =
        std::ranges::find(scenarios(), "server with its default certificate", &Scenario::name);
    if (found == scenarios().end()) {
        GTEST_SKIP() << "this user can't rename the machine, so that scenario is left out";
    }
    EXPECT_EQ(measured(*found).outcomes.size(), found->steps.size() + 1); // and the release
}

} // namespace
} // namespace VexaSsl::test
