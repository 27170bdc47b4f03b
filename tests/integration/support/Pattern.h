// An endless stream of known bytes, to check transfers byte for byte.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace VexaSsl::test {

class Pattern {
public:
    // The period is a prime, so that no record or buffer size hides a shift.
    Pattern() : block(period, '\0') {
        std::mt19937_64 numbers(20240607);
        for (char& byte : block) {
            byte = static_cast<char>(numbers() & 0xFF);
        }
        block += block;
    }

    // Returns size bytes of the stream from the position; size is at most the period.
    std::string_view at(std::size_t position, std::size_t size) const {
        return std::string_view(block).substr(position % period, size);
    }

    // Returns whether the bytes are those of the stream from the position.
    bool matches(std::size_t position, std::string_view bytes) const {
        while (!bytes.empty()) {
            const std::size_t part = std::min(bytes.size(), period);
            if (at(position, part) != bytes.substr(0, part)) {
                return false;
            }
            position += part;
            bytes.remove_prefix(part);
        }
        return true;
    }

    static constexpr std::size_t period = 1048573;

private:
    std::string block;
};

} // namespace VexaSsl::test
