#include "connect/ConnectReport.h"

#include "common/JsonLine.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace VexaSsl::tool {

namespace {

// A connection in the clear has the same fields, all null.
void addSummary(JsonLine& line, const std::optional<ConnectionSummary>& summary) {
    if (summary) {
        line.text("protocol", summary->protocol);
    } else {
        line.nothing("protocol");
    }
    if (summary && !summary->suite.empty()) {
        line.text("suite", summary->suite);
    } else {
        line.nothing("suite");
    }
    if (summary && summary->peer) {
        line.object("peer", *summary->peer);
    } else {
        line.nothing("peer");
    }
}

} // namespace

void ConnectReport::connected(const std::string& target, const std::string& address,
                              const std::optional<ConnectionSummary>& summary) {
    if (printer.isJson()) {
        JsonLine line;
        line.text("type", "connected").text("target", target).text("address", address);
        addSummary(line, summary);
        printer.print(line.str());
    } else if (summary && !printer.isQuiet()) {
        printer.print("connected to " + target + ": " + summary->text);
    }
}

SentReport ConnectReport::sentReport() {
    if (!printer.isJson()) {
        return {};
    }
    return [this](std::uintmax_t bytes, std::chrono::milliseconds taken) {
        printer.print(JsonLine()
                          .text("type", "sent")
                          .number("bytes", static_cast<std::int64_t>(bytes))
                          .number("milliseconds", taken.count())
                          .str());
    };
}

ExitStatus ConnectReport::failed(ExitStatus status, const std::string& text) {
    if (printer.isJson()) {
        printer.print(JsonLine()
                          .text("type", "failure")
                          .text("outcome", exitStatusName(status))
                          .number("status", static_cast<std::int64_t>(status))
                          .text("message", text)
                          .str());
    }
    return status;
}

} // namespace VexaSsl::tool
