// Selects some of the places that a test tries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace VexaSsl::test {

// Selects about one of `step` places, spread evenly in however many nested loops without being
// aligned with any of them.
class Sampler {
public:
    explicit Sampler(std::size_t step) : limit(most / static_cast<std::uint32_t>(step)) {}

    bool selectsNext() {
        constexpr std::uint32_t goldenSection = 2654435769U;
        count += goldenSection;
        return count <= limit;
    }

private:
    static constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    const std::uint32_t limit;
    std::uint32_t count = 0;
};

} // namespace VexaSsl::test
