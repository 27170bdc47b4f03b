// The places that a sweep tries, and the counts of places, documented failures and accepted
// plaintext.
#pragma once

#include "fakes/Sampler.h"
#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace VexaSsl::test {

// Samples one of usualStep places, all of them in a full sweep, fewer where connections are slow.
inline Sampler sampleEvery(std::size_t usualStep) {
    return Sampler(sweepStep(usualStep * VEXASSL_STEP_FACTOR));
}

class Tally {
public:
    // Counts one place and reports the fault, if any; after a few faults it only counts.
    void note(const std::string& fault, const std::string& place) {
        ++tried;
        if (!fault.empty() && ++faults <= 5) {
            ADD_FAILURE() << place << ": " << fault;
        }
    }
    void accept(std::size_t bytes) { accepted += bytes; }

    std::size_t places() const { return tried; }
    // Expects no fault, and prints the figure.
    void report(const std::string& row, const std::string& what) const {
        EXPECT_GT(tried, 0U);
        EXPECT_EQ(faults, 0U);
        EXPECT_EQ(accepted, 0U);
        reportFigure(row, what + ": " + std::to_string(tried) + " places, " +
                              std::to_string(tried - faults) + " as documented, " +
                              std::to_string(accepted) + " plaintext bytes accepted");
    }

private:
    std::size_t tried = 0;
    std::size_t faults = 0;
    std::size_t accepted = 0;
};

} // namespace VexaSsl::test
