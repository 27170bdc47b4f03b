// What connect tells of itself on stderr: a line for a person where something is to be said, or
// with --json an object for each event.
//
// Threads: any. Ownership: the printer is borrowed and outlives it.
#pragma once

#include "common/ExitStatus.h"
#include "common/ToolLog.h"
#include "connect/ConnectionSummary.h"
#include "connect/SendProgress.h"

#include <optional>
#include <string>

namespace VexaSsl::tool {

class ConnectReport {
public:
    explicit ConnectReport(LinePrinter& linePrinter) : printer(linePrinter) {}

    // target: as given; address: whom that came to. A connection in the clear has no summary, and
    // prose has nothing to say of it.
    void connected(const std::string& target, const std::string& address,
                   const std::optional<ConnectionSummary>& summary);
    // Who is to be told that a file has gone; empty for prose, which shows progress by itself.
    TellSent tellSent();
    // The object of a failure; prose leaves it to the caller. Result: the status.
    ExitStatus failed(ExitStatus status, const std::string& text);

private:
    LinePrinter& printer;
};

} // namespace VexaSsl::tool
