// The exception thrown when an abstract operation of one of the library's interfaces is called.
// That happens only through an object under construction or already destroyed, so it is a defect.
// The platform's process-dump library "kelmo", if there is one, first writes a dump.
//
// KelException has no base class, so catching std::exception misses it. Only objects of the library
// throw it: the virtual table of a class that a host derives, from ILog for example, is part of the
// host, and its abstract slots call the handler of the host's runtime, which ends the process.
#pragma once

#include <cstdint>

namespace VexaSsl {

// Two numbers for the reader of a dump. The library throws 1 and 7.
class KelException {
public:
    // Of these numbers.
    KelException(std::int32_t first, std::int32_t second) noexcept : first(first), second(second) {}

    std::int32_t first;  // 1
    std::int32_t second; // 7
};

} // namespace VexaSsl
