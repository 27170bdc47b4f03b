// What keeps a server from taking connections, told so that a log stays readable: the same trouble
// no more than once a minute, however often it comes back.
//
// Threads: one. Ownership: the printer is borrowed and outlives it.
#pragma once

#include "common/ToolLog.h"

#include <chrono>
#include <map>
#include <string>

namespace VexaSsl::tool {

class ThrottledMessages {
public:
    explicit ThrottledMessages(LinePrinter& errorPrinter) : printer(errorPrinter) {}

    void tell(const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    LinePrinter& printer;
    std::map<std::string, Clock::time_point> told;
};

} // namespace VexaSsl::tool
