// Counting what a sweep finds: places tried, failures as documented, plaintext that should not be.
#pragma once

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace VexaSsl::test {

// Takes about one of so many places that a test walks along, in however many nested loops: spread
// evenly, but in step with none of the loops. Fewer where a connection is dear.
class Thinning {
public:
    explicit Thinning(std::size_t usualStep)
        : limit(most / static_cast<std::uint32_t>(sweepStep(usualStep * VEXASSL_STEP_FACTOR))) {}

    bool takesNext() {
        constexpr std::uint32_t goldenSection = 2654435769U;
        count += goldenSection;
        return count <= limit;
    }

private:
    static constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    const std::uint32_t limit;
    std::uint32_t count = 0;
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
