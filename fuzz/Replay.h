// The harnesses of a replay program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VexaSsl::fuzz {

struct NamedHarness {
    const char* name;
    int (*run)(const std::uint8_t* data, std::size_t size);
};

const std::vector<NamedHarness>& harnesses();

} // namespace VexaSsl::fuzz
