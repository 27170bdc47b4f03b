// Prints what prevents a server from accepting connections; the same text at most once a minute.
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
    explicit ThrottledMessages(LinePrinter& printer) : printer(printer) {}

    void print(const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    LinePrinter& printer;
    std::map<std::string, Clock::time_point> lastPrinted;
};

} // namespace VexaSsl::tool
