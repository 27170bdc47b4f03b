// Counting what a sweep finds: places tried, failures as documented, plaintext that should not be.
#pragma once

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace VexaSsl::test {

// Takes every step-th of all places that a test walks along, in however many nested loops.
class Thinning {
public:
    explicit Thinning(std::size_t usualStep) : step(sweepStep(usualStep)) {}
    bool takesNext() { return count++ % step == 0; }

private:
    const std::size_t step;
    std::size_t count = 0;
};

class Tally {
public:
    // One place, with how it went. A fault is reported with the place; many are only counted.
    void note(const std::string& fault, const std::string& place) {
        ++tried;
        if (!fault.empty() && ++faults <= 5) {
            ADD_FAILURE() << place << ": " << fault;
        }
    }
    void accept(std::size_t bytes) { accepted += bytes; }

    std::size_t places() const { return tried; }
    // Expects that all was well, and tells the figure behind what was done.
    void tell(const std::string& row, const std::string& what) const {
        EXPECT_GT(tried, 0U);
        EXPECT_EQ(faults, 0U);
        EXPECT_EQ(accepted, 0U);
        tellFigure(row, what + ": " + std::to_string(tried) + " places, " +
                            std::to_string(tried - faults) + " as documented, " +
                            std::to_string(accepted) + " plaintext bytes accepted");
    }

private:
    std::size_t tried = 0;
    std::size_t faults = 0;
    std::size_t accepted = 0;
};

} // namespace VexaSsl::test
