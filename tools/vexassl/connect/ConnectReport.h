// What connect prints about itself on stderr: a line of text when there is something to report, or
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
    explicit ConnectReport(LinePrinter& printer) : printer(printer) {}

    // target: as given; address: of the peer. A connection in the clear has no summary, and nothing
    // is printed for a user.
    void connected(const std::string& target, const std::string& address,
                   const std::optional<ConnectionSummary>& summary);
    // Called when a file has been sent; empty for a user, who sees the progress.
    SentReport sentReport();
    // Prints the object of a failure; for a user the caller prints it. Returns the status.
    ExitStatus failed(ExitStatus status, const std::string& text);

private:
    LinePrinter& printer;
};

} // namespace VexaSsl::tool
